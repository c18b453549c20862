// Texts as bytes in UTF-8 (RFC 3629).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Length of the well-formed sequence at `position`, 0 for none.
std::size_t utf8SequenceLength(std::string_view text, std::size_t position);
/// The character of a well-formed sequence of that length.
char32_t utf8Character(std::string_view text, std::size_t position, std::size_t length);
/// All characters of a text, a byte that is no UTF-8 as U+FFFD.
std::u32string utf8Characters(std::string_view text);
/// Adds a character, which is no half of a surrogate pair.
void appendUTF8(std::string& text, char32_t character);
/// How many ASCII characters the text starts with at least, counted in steps of eight.
std::size_t asciiPrefix(std::string_view text);
/// Whether all of the bytes are well-formed.
bool isValidUTF8(std::string_view bytes);
