// Lines of a script, and all of them together as a command line.
#include "Foundation/NSException.h"
#include "host/Options.h"
#include "host/ScriptLine.h"
#include "Require.h"

#include <sstream>

namespace {

/// The line that has these words, each in quotes.
std::string lineOf(const std::vector<std::string>& words) {
    std::string line;
    for (const auto& word : words) {
        line += '"';
        for (const char byte : word) {
            line += byte == '"' || byte == '\\' ? std::string{'\\', byte} : std::string{byte};
        }
        line += "\" ";
    }
    return line;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::istringstream lines({reinterpret_cast<const char*>(data), size});
    std::vector<std::string> arguments;
    try {
        for (std::string line; std::getline(lines, line);) {
            arguments.push_back(line);
            const auto words = wordsOfScriptLine(line);
            require(wordsOfScriptLine(lineOf(words)) == words);
        }
        require(!parseOptions(arguments).bundle.empty());
    } catch (const NSException&) { // refused
    }
    return 0;
}
