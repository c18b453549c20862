#include "host/ScriptLine.h"

#include "Foundation/NSException.h"

namespace {

std::string quotedWord(const std::string& line, std::size_t& position) {
    std::string word;
    for (++position; position < line.size(); ++position) {
        if (line[position] == '"') {
            ++position;
            return word;
        }
        if (line[position] == '\\' && position + 1 < line.size()) {
            ++position;
        }
        word += line[position];
    }
    throw NSException(NSParseErrorException, "a quote does not end");
}

} // namespace

std::vector<std::string> wordsOfScriptLine(const std::string& line) {
    const std::string blanks = " \t\r";
    std::vector<std::string> words;
    for (auto position = line.find_first_not_of(blanks); position < line.size();
         position = line.find_first_not_of(blanks, position)) {
        if (line[position] == '#') {
            break;
        }
        if (line[position] == '"') {
            words.push_back(quotedWord(line, position));
        } else {
            const auto end = std::min(line.find_first_of(blanks, position), line.size());
            words.push_back(line.substr(position, end - position));
            position = end;
        }
    }
    return words;
}
