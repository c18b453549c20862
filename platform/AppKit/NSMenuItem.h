// One entry of a menu: a title, and what the entry stands for.
#pragma once

#include "AppKit/NSControl.h"

#include <optional>
#include <string>

class NSMenuItem : public NSObject {
public:
    /// Without an action, choosing the item only makes its menu's owner act.
    NSMenuItem(std::string title, NSControl::Action action)
        : text(std::move(title)), chosen(std::move(action)) {}

    const std::string& title() const { return text; }
    const NSControl::Action& action() const { return chosen; }

    /// What the item stands for; none unless set.
    const std::optional<std::string>& representedObject() const { return represented; }
    void setRepresentedObject(std::optional<std::string> object) {
        represented = std::move(object);
    }

private:
    std::string text;
    NSControl::Action chosen;
    std::optional<std::string> represented;
};
