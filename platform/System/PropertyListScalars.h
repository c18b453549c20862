// Numbers and dates in the XML text of a property list. libplist reads each as far as it
// understands it, and takes a whole number that begins with a zero for an octal one.
#pragma once

#include <span>
#include <string>
#include <string_view>

/// Whether the text between "<" and ">" begins a number or a date.
bool isPropertyListScalar(std::string_view tag);
/// Raises PropertyListError for content that is no such value: a whole number of more than 64 bits,
/// a date that does not exist. Writes a whole number without zeros before its digits, in its own
/// place.
void settlePropertyListScalar(std::string_view tag, std::span<char> content);
