// Archives as text: what a coder holds, as a property list.
#pragma once

#include "Foundation/NSCoder.h"

#include <string>

namespace NSKeyedArchiver {

/// The archive of what `coder` has been given, as XML text.
std::string dataWithCoder(const NSCoder& coder);
/// A coder to decode from. Raises NSParseErrorException for what is no archive.
NSCoder coderWithData(const std::string& data);

} // namespace NSKeyedArchiver
