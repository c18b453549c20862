// Looks over the XML text of a property list before libplist reads it. libplist goes down into
// nested containers without a limit, takes a text for whole whose end is missing, and ignores what
// follows the end.
#pragma once

#include <string>

/// Raises PropertyListError unless the text is one whole <plist> element with one value in it,
/// nested `depthLimit` deep at most, with numbers and dates that libplist can only read in one way,
/// which they are given. Leaves other elements and their content to libplist.
void checkXMLPropertyList(std::string& text, int depthLimit);
