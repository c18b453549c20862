// Looks over the XML text of a property list before libplist reads it. libplist goes down into
// nested containers without a limit, takes a text for whole whose end is missing, and ignores what
// follows the end.
#pragma once

#include <string_view>

/// Raises PropertyListError unless the text is one whole <plist> element with one value in it,
/// nested `depthLimit` deep at most. Leaves elements and their content to libplist.
void checkXMLPropertyList(std::string_view text, int depthLimit);
