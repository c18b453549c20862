#include "System/UserAccount.h"

#include <cerrno>
#include <pwd.h>
#include <vector>

namespace {

template <class Lookup>
std::optional<UserAccount> accountBy(const Lookup& lookup) {
    std::vector<char> buffer(1024);
    passwd entry{};
    passwd* found = nullptr;
    while (lookup(&entry, buffer.data(), buffer.size(), &found) == ERANGE) {
        buffer.resize(buffer.size() * 2);
    }
    return found ? std::optional(UserAccount{found->pw_name, found->pw_dir}) : std::nullopt;
}

} // namespace

std::optional<UserAccount> UserAccount::of(uid_t user) {
    return accountBy([user](auto... rest) { return getpwuid_r(user, rest...); });
}

std::optional<UserAccount> UserAccount::of(const std::string& name) {
    return accountBy([&name](auto... rest) { return getpwnam_r(name.c_str(), rest...); });
}
