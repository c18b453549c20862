// The entries of a pop-up button, in order.
#pragma once

#include "AppKit/NSMenuItem.h"

#include <functional>
#include <memory>
#include <vector>

class NSMenu : public NSObject {
public:
    /// `changed` is told after each change.
    explicit NSMenu(std::function<void()> changed) : changed(std::move(changed)) {}

    /// Keeps the item and shows it at the end.
    void addItem(std::shared_ptr<NSMenuItem> item);
    void removeAllItems();
    const std::vector<std::shared_ptr<NSMenuItem>>& itemArray() const { return items; }

private:
    std::function<void()> changed;
    std::vector<std::shared_ptr<NSMenuItem>> items;
};
