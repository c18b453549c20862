// One entry of a menu: a title, and what the entry stands for.
#pragma once

#include "AppKit/NSControl.h"

#include <optional>
#include <string>

class NSMenuItem : public NSObject {
public:
    /// Without an action, choosing the item only makes its menu's owner act. The key equivalent is
    /// the letter that picks the item in the open menu; empty for none.
    NSMenuItem(std::string title, NSControl::Action action, std::string keyEquivalent)
        : text(std::move(title)), chosen(std::move(action)), key(std::move(keyEquivalent)) {}

    const std::string& title() const { return text; }
    const NSControl::Action& action() const { return chosen; }
    const std::string& keyEquivalent() const { return key; }

    /// What the item stands for; none unless set.
    const std::optional<std::string>& representedObject() const { return represented; }
    void setRepresentedObject(std::optional<std::string> object) {
        represented = std::move(object);
    }

private:
    std::string text;
    NSControl::Action chosen;
    std::string key;
    std::optional<std::string> represented;
};
