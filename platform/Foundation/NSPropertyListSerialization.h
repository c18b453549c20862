// Property lists as bytes.
#pragma once

#include "Foundation/NSPropertyList.h"

/// Reads a list in any of the three forms: XML, binary, the old text form.
/// A text may be in any encoding that it names, in UTF-16, or without a name in UTF-8; an old text
/// in Latin-1 as well. Raises NSParseErrorException for anything else, text cut short included.
PropertyList propertyListFromData(const std::string& bytes);
/// The XML form. This and the next raise NSInvalidArgumentException for a text that holds a zero
/// character or is no UTF-8.
std::string xmlDataFromPropertyList(const PropertyList& list);
/// The XML form, or the binary one for a list with characters that XML does not carry.
std::string dataFromPropertyList(const PropertyList& list);
