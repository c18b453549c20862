// A program's own words in the user's language.
#pragma once

#include <string>

/// What "LANGUAGE.lproj/Localizable.strings" beside this program says for a text, a string table as
/// in `"text" = "translation";`. The text itself where that says nothing. The language is the first
/// of the user's alone, as in windows. Any thread.
std::string NSLocalizedString(const std::string& text);
