#include "host/Options.h"

#include "Foundation/NSBundle.h"
#include "Foundation/NSException.h"
#include "Foundation/NSPathUtilities.h"
#include "Foundation/NSString.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <string_view>

const char* const versionText = "tessaline-preferences " TESSALINE_VERSION "\n";

const char* const usageText =
    R"(Usage: Preferences [--root DIR] [--authorization system|grant|deny] [--script FILE|-]
                   [--socket-id=ID] [BUNDLE]

Opens a preference pane in a window. BUNDLE is a .prefPane folder; without one, the
Tessaline.prefPane that came with this program. Without --root, --script and --socket-id, one
window a user is open: a second start shows the first one's.

  --root DIR            keep the whole disk that the pane sees in this folder
  --authorization MODE  how administrator rights are had: "system" asks the user, "grant" and
                        "deny" answer at once; "grant" with --root, else "system"
  --script FILE         drive the window by the commands in a file; - for standard input
  --socket-id=ID        show the pane inside that X11 window of another program
  -style NAME, -platform NAME, -platformtheme NAME, -display NAME, -qwindowgeometry SIZE, -reverse
                        Qt's own: how the window looks, and where
  --help                show this text
  --version             show the version

Commands of a script, one a line ("..." around an argument with blanks, # starts a comment):
  press NAME | drag NAME X1 Y1 X2 Y2 | type NAME TEXT | choose NAME TITLE
  show NAME | items NAME | wait NAME TEXT SECONDS | sheet SECONDS | answer TITLE
  snapshot FILE | sleep SECONDS | quit
)";

namespace {

constexpr std::string_view socketPrefix = "--socket-id=";
/// Those of Qt's that change nothing but looks and place.
constexpr std::array<std::string_view, 5> toolkitOptions = {"-style", "-platform", "-platformtheme",
                                                            "-display", "-qwindowgeometry"};

[[noreturn]] void refuse(const std::string& reason) {
    throw NSException(NSInvalidArgumentException, reason + "; --help shows the options");
}

AuthorizationMode modeNamed(const std::string& name) {
    static const std::map<std::string, AuthorizationMode> modes = {
        {"system", AuthorizationMode::system},
        {"grant", AuthorizationMode::grant},
        {"deny", AuthorizationMode::deny}};
    const auto found = modes.find(name);
    if (found == modes.end()) {
        refuse("--authorization takes system, grant or deny, not \"" + name + "\"");
    }
    return found->second;
}

std::uint32_t windowNumber(const std::string& text) {
    std::uint32_t number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end || number == 0) {
        refuse("--socket-id takes the number of a window, not \"" + text + "\"");
    }
    return number;
}

/// Beside the folder of this program.
std::string defaultBundle() {
    const std::string folder = stringByDeletingLastPathComponent(NSBundle::mainExecutablePath());
    return stringByAppendingPathComponent(stringByDeletingLastPathComponent(folder),
                                          "Tessaline.prefPane");
}

} // namespace

Options parseOptions(const std::vector<std::string>& arguments) {
    Options options;
    std::optional<AuthorizationMode> mode;
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        const std::string& argument = arguments[index];
        const auto value = [&]() -> const std::string& {
            if (index + 1 == arguments.size()) {
                refuse(argument + " needs a value");
            }
            return arguments[++index];
        };
        if (argument == "--help") {
            options.help = true;
        } else if (argument == "--version") {
            options.version = true;
        } else if (argument == "--root") {
            options.root = value();
        } else if (argument == "--authorization") {
            mode = modeNamed(value());
        } else if (argument == "--script") {
            options.script = value();
        } else if (argument.starts_with(socketPrefix)) {
            options.socket = windowNumber(argument.substr(socketPrefix.size()));
        } else if (argument == "-reverse") {
            options.toolkit.push_back(argument);
        } else if (std::ranges::count(toolkitOptions, argument) > 0) {
            options.toolkit.insert(options.toolkit.end(), {argument, value()});
        } else if (argument.starts_with("-")) {
            refuse("unknown option " + argument);
        } else if (!options.bundle.empty()) {
            refuse("more than one bundle");
        } else {
            options.bundle = argument;
        }
    }
    if (options.bundle.empty()) {
        options.bundle = defaultBundle();
    }
    options.authorization =
        mode.value_or(options.root ? AuthorizationMode::grant : AuthorizationMode::system);
    return options;
}
