#include "AppKit/NSPopUpButton.h"

#include "AppKit/NSViewRegistry.h"

#include <algorithm>
#include <QKeyEvent>
#include <QWheelEvent>

namespace {
const NSViewClass<NSPopUpButton> viewClass("NSPopUpButton");
}

NSPopUpButton::NSPopUpButton(QWidget* parent)
    : NSControlWidget(parent), entries([this] { showItems(); }) {
    connect(this, &QComboBox::activated, this, [this](int index) { choose(index); });
}

void NSPopUpButton::addItemWithTitle(const std::string& title) {
    entries.addItem(std::make_shared<NSMenuItem>(title, nullptr));
}

void NSPopUpButton::selectItem(const NSMenuItem& item) {
    const auto& items = entries.itemArray();
    const auto found = std::find_if(items.begin(), items.end(), [&](const auto& candidate) {
        return candidate.get() == &item;
    });
    if (found != items.end()) {
        setCurrentIndex(static_cast<int>(found - items.begin()));
    }
}

std::shared_ptr<NSMenuItem> NSPopUpButton::selectedItem() const {
    const int index = currentIndex();
    return index < 0 ? nullptr : entries.itemArray()[static_cast<std::size_t>(index)];
}

PropertyList NSPopUpButton::shownValue() const { return currentText().toStdString(); }

void NSPopUpButton::keyPressEvent(QKeyEvent* event) {
    const auto key = event->key();
    if (key == Qt::Key_Space || key == Qt::Key_Up || key == Qt::Key_Down) {
        showPopup();
    } else {
        event->ignore();
    }
}

void NSPopUpButton::wheelEvent(QWheelEvent* event) { event->ignore(); }

/// Brings the widget in line with the menu, which only ever grows or becomes empty.
void NSPopUpButton::showItems() {
    const auto& items = entries.itemArray();
    if (items.empty()) {
        clear();
    }
    for (auto index = static_cast<std::size_t>(count()); index < items.size(); ++index) {
        addItem(QString::fromStdString(items[index]->title()));
    }
}

void NSPopUpButton::choose(int index) {
    const auto item = entries.itemArray()[static_cast<std::size_t>(index)];
    if (item->action()) {
        item->action()(this);
    } else {
        sendAction();
    }
}
