// What is handed to the observers of a notification.
#pragma once

#include "Foundation/NSPropertyList.h"

#include <optional>
#include <string>

struct NSNotification {
    std::string name;
    std::optional<std::string> object;
    std::optional<NSDictionary> userInfo;

    /// The text under a key of the user info; none when there is no such text.
    std::optional<std::string> userInfoString(const std::string& key) const {
        return userInfo ? userInfo->stringForKey(key) : std::nullopt;
    }

    bool operator==(const NSNotification&) const = default;
};
