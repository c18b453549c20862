// Property lists as bytes.
#pragma once

#include "Foundation/NSPropertyList.h"

/// Reads a list in any of the three forms: XML, binary, the old text form.
/// Raises NSParseErrorException for anything else, text cut short included.
PropertyList propertyListFromData(const std::string& bytes);
/// The XML form.
std::string xmlDataFromPropertyList(const PropertyList& list);
