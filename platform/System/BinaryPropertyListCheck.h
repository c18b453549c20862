// Looks over the bytes of a binary property list before libplist reads them. libplist goes down
// into nested containers without a limit, and lays out a shared object anew for every reference.
#pragma once

#include <string_view>

/// Raises PropertyListError unless every object can be reached within the bytes, none contains
/// itself, and the list, once laid out, is `depthLimit` deep at most and of a sane size.
void checkBinaryPropertyList(std::string_view bytes, int depthLimit);
