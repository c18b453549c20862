// Property lists as bytes, and dictionaries as files.
#pragma once

#include "Foundation/NSPropertyList.h"

/// Reads a list in any of the three forms: XML, binary, the old text form.
/// A text may be in any encoding that it names, in UTF-16, or without a name in UTF-8; an old text
/// in Latin-1 as well. Raises NSParseErrorException for anything else, text cut short included.
/// Reads XML in the place of the bytes: who needs them no more moves them in.
PropertyList propertyListFromData(std::string bytes);
/// The XML form. This and the next raise NSInvalidArgumentException for a text that holds a zero
/// character or is no UTF-8.
std::string xmlDataFromPropertyList(const PropertyList& list);
/// The XML form, or the binary one for a list with characters that XML does not carry.
std::string dataFromPropertyList(const PropertyList& list);

/// None when the file is missing, unreadable or no dictionary; never raises.
std::optional<NSDictionary> dictionaryWithContentsOfFile(const std::string& path);
/// What a file holds that is about to be changed: nothing where there is no file, or none with a
/// dictionary in it. Raises NSFileHandleOperationException when it is there and cannot be read, so
/// that nothing in it is lost.
NSDictionary dictionaryToChangeAtPath(const std::string& path);
/// Writes the XML form, or the binary one where XML would lose something, as writeFileAtomically
/// does (System/FileReplacement.h). False on failure.
bool writeDictionaryToFile(const NSDictionary& dictionary, const std::string& path);
