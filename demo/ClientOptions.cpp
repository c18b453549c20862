#include "ClientOptions.h"

#include "Foundation/NSException.h"
#include "Foundation/NSPropertyList.h"
#include "Foundation/NSPropertyListSerialization.h"

#include <charconv>
#include <cmath>

const char* ClientOptions::usage() {
    return "usage: Tolvin [--root DIR] [--slow SECONDS] [--silent] [--crash-after SECONDS] "
           "[--flood N]\n"
           "A small network client that does nothing but report its status, to try its panel "
           "with.\n"
           "  --root DIR             read the settings of the disk under DIR; without it, of the\n"
           "                         disk whose Applications folder holds this program\n"
           "  --slow SECONDS         tell each status so much later\n"
           "  --silent               tell nothing\n"
           "  --crash-after SECONDS  crash so long after the start\n"
           "  --flood N              tell N more statuses before each answer\n"
           "  --help                 print this\n"
           "The same can be had of a client that was started without arguments: with the keys "
           "slow\n"
           "(real), silent (boolean), crashAfter (real) and flood (integer) of the file\n"
           "com.quorvane.Tolvin.demo.plist in the Preferences folder. It is read at the start and\n"
           "at each relaunch.\n";
}

namespace {

double numberFrom(const std::string& name, const std::string& text) {
    double number = 0;
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (problem != std::errc() || end != text.data() + text.size() || !std::isfinite(number) ||
        number < 0 || number > 1e9) {
        throw NSException(NSInvalidArgumentException,
                          name + " takes a number, not \"" + text + "\"");
    }
    return number;
}

} // namespace

ClientOptions ClientOptions::fromArguments(const std::vector<std::string>& arguments) {
    ClientOptions options;
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        const std::string& name = arguments[index];
        const auto value = [&]() -> const std::string& {
            if (++index == arguments.size()) {
                throw NSException(NSInvalidArgumentException, name + " takes a value");
            }
            return arguments[index];
        };
        if (name == "--help") {
            options.help = true;
        } else if (name == "--silent") {
            options.silent = true;
        } else if (name == "--root") {
            options.root = value();
        } else if (name == "--slow") {
            options.slow = numberFrom(name, value());
        } else if (name == "--crash-after") {
            options.crashAfter = numberFrom(name, value());
        } else if (name == "--flood") {
            options.flood = static_cast<long>(numberFrom(name, value()));
        } else {
            throw NSException(NSInvalidArgumentException, "there is no option " + name);
        }
    }
    return options;
}

ClientOptions ClientOptions::completedFromFile(const std::string& path) const {
    const auto file = dictionaryWithContentsOfFile(path).value_or(NSDictionary());
    const auto number = [&](const char* key) -> std::optional<double> {
        const PropertyList* entry = file.objectForKey(key);
        const auto found = entry ? entry->number() : std::nullopt;
        return found && *found >= 0 && *found <= 1e9 ? found : std::nullopt;
    };
    ClientOptions options = *this;
    options.slow = slow > 0 ? slow : number("slow").value_or(0);
    options.silent = silent || number("silent").value_or(0) != 0;
    options.crashAfter = crashAfter ? crashAfter : number("crashAfter");
    options.flood = flood > 0 ? flood : static_cast<long>(number("flood").value_or(0));
    return options;
}
