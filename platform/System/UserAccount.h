// The machine's accounts.
#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

struct UserAccount {
    std::string name; // the short one
    std::string home;

    /// None for an unknown user.
    static std::optional<UserAccount> of(uid_t user);
    static std::optional<UserAccount> of(const std::string& name);
};
