// One line of a script, cut into its words.
#pragma once

#include <string>
#include <vector>

/// Words stand apart by blanks; one with blanks stands in double quotes, in which a backslash takes
/// the next character as it is. From a word that starts with # on, the line is a comment. Raises
/// NSParseErrorException for quotes that do not end.
std::vector<std::string> wordsOfScriptLine(const std::string& line);
