// Looks over the bytes of a property list before libplist reads them. libplist goes down into
// nested containers without a limit, lays out a shared object of the binary form anew for every
// reference, takes an XML text for whole whose end is missing, and ignores what follows the end.
// After these checks its work is bounded in depth and in size, and what it gives is the whole of
// the text.
#pragma once

#include <string_view>

/// Raises NSParseErrorException, with the problem as its reason, unless the condition holds.
void requireOfPropertyList(bool condition, const char* problem);

/// Raises NSParseErrorException unless the text is one whole <plist> element with one value in it,
/// nested `depthLimit` deep at most. Leaves elements and their content to libplist.
void checkXMLPropertyList(std::string_view text, int depthLimit);

/// Raises NSParseErrorException unless every object can be reached within the bytes, none contains
/// itself, and the list, once laid out, is `depthLimit` deep at most and of a sane size.
void checkBinaryPropertyList(std::string_view bytes, int depthLimit);
