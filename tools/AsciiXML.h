// XML for readers who decode nothing but ASCII.
#pragma once

#include <string>
#include <string_view>

/// The same text with every other character as a reference to its number.
std::string asciiXML(std::string_view xml);
