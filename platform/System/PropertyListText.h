// The text of a property list that is no binary one.
#pragma once

#include <string>
#include <string_view>

/// The bytes as UTF-8 without a byte-order mark. What is neither XML nor in the encoding that it
/// seems to be in is taken for Latin-1, as old files are. Raises PropertyListError for XML that is
/// not in its encoding.
std::string textOfPropertyList(std::string bytes);
/// Whether such a text is XML; else it is of the old text form.
bool isXMLPropertyList(std::string_view text);
