#include "FileOperations.h"

#include <algorithm>
#include <array>
#include <filesystem>

namespace {

enum class From { machine, ownTools };

struct Operation {
    const char* tool;
    From from;
    std::vector<std::string> options;
    std::size_t paths; // after the options
};

const std::array<Operation, 7>& operations() {
    static const std::array<Operation, 7> all{{{"cp", From::machine, {"-f", "-p", "-R"}, 2},
                                               {"mv", From::ownTools, {"-f"}, 2},
                                               {"rm", From::machine, {"-Rdf"}, 1},
                                               {"rm", From::machine, {"-R", "-f"}, 1},
                                               {"mkdir", From::machine, {"-p"}, 1},
                                               {"chown", From::ownTools, {"root:wheel"}, 1},
                                               {"chmod", From::ownTools, {"644"}, 1}}};
    return all;
}

/// Absolute, without detours, and not one of the folders that the disk's root consists of.
bool isPlain(const std::string& text) {
    const std::filesystem::path path(text);
    return path.is_absolute() && path.has_filename() && path.lexically_normal() == path &&
           path.parent_path() != path.root_path();
}

bool isToolOf(const Operation& operation, const std::string& path, const std::string& ownTools) {
    const std::string name = operation.tool;
    return operation.from == From::ownTools ? path == ownTools + "/" + name
                                            : path == "/bin/" + name || path == "/usr/bin/" + name;
}

} // namespace

bool isFileOperation(const AuthorizationProtocol::Request& request, const std::string& ownTools) {
    const auto& given = request.arguments;
    return std::any_of(operations().begin(), operations().end(), [&](const auto& operation) {
        const auto count = operation.options.size();
        return isToolOf(operation, request.path, ownTools) &&
               given.size() == count + operation.paths &&
               std::equal(operation.options.begin(), operation.options.end(), given.begin()) &&
               std::all_of(given.begin() + static_cast<std::ptrdiff_t>(count), given.end(),
                           isPlain);
    });
}
