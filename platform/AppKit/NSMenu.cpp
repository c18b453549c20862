#include "AppKit/NSMenu.h"

void NSMenu::addItem(std::shared_ptr<NSMenuItem> item) {
    items.push_back(std::move(item));
    changed();
}

void NSMenu::removeAllItems() {
    items.clear();
    changed();
}
