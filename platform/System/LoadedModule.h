// The files that this process's code was loaded from.
#pragma once

#include <string>

/// The file that holds the code at an address, all links followed; empty for none.
std::string moduleOfCode(const void* address);
