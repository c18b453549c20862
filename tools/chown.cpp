// chown OWNER[:GROUP] FILE...: for callers that call the superuser's group "wheel". Here that group
// has another name, and where there is a "wheel" it is another group. Never follows a link, since
// this may run as the superuser on what somebody else has prepared.

#include "PlainFile.h"

#include <cstdlib>
#include <grp.h>
#include <iostream>
#include <pwd.h>
#include <string_view>
#include <unistd.h>

namespace {

constexpr unsigned unchanged = ~0U;

unsigned number(const std::string& text) {
    const bool isNumber =
        !text.empty() && text.size() < 10 && text.find_first_not_of("0123456789") == text.npos;
    if (!isNumber) {
        throw std::runtime_error("there is no \"" + text + "\" here");
    }
    return static_cast<unsigned>(std::stoul(text));
}

uid_t userNamed(const std::string& name) {
    const passwd* entry = getpwnam(name.c_str());
    return entry != nullptr ? entry->pw_uid : number(name);
}

gid_t groupNamed(const std::string& name) {
    if (name == "wheel") {
        return 0;
    }
    const group* entry = getgrnam(name.c_str());
    return entry != nullptr ? entry->gr_gid : number(name);
}

void setOwner(const std::string& path, uid_t user, gid_t group) {
    if (fchownat(handleWithoutLinks(path).get(), "", user, group, AT_EMPTY_PATH) != 0) {
        failWith(path, errno);
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3 || argv[1][0] == '-') {
        std::cerr << "usage: chown OWNER[:GROUP] FILE...\n";
        return EXIT_FAILURE;
    }
    int status = EXIT_SUCCESS;
    for (int index = 2; index < argc; ++index) {
        try {
            const std::string owner = argv[1];
            const auto colon = owner.find(':');
            setOwner(argv[index], userNamed(owner.substr(0, colon)),
                     colon == owner.npos ? unchanged : groupNamed(owner.substr(colon + 1)));
        } catch (const std::exception& failure) {
            std::cerr << "chown: " << failure.what() << '\n';
            status = EXIT_FAILURE;
        }
    }
    return status;
}
