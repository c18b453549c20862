// Text in other encodings, by the names that the system knows them by.
#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The text as UTF-8. None when the system does not know the encoding, or the bytes are not valid
/// in it. Any thread.
std::optional<std::string> utf8FromEncoding(const std::string& encoding, std::string_view bytes);
