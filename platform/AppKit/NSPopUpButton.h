// A button that shows the selected item of a menu and opens the menu when pressed. Choosing an item
// runs the item's own action, if it has one, and else the button's.
#pragma once

#include "AppKit/NSControl.h"
#include "AppKit/NSMenu.h"

#include <QComboBox>

class NSPopUpButton : public NSControlWidget<QComboBox> {
public:
    explicit NSPopUpButton(QWidget* parent = nullptr);

    void removeAllItems() { entries.removeAllItems(); }
    /// The first item added to an empty menu becomes the selected one.
    void addItemWithTitle(const std::string& title);
    NSMenu& menu() { return entries; }
    /// Does nothing for an item of another menu. Sends no action.
    void selectItem(const NSMenuItem& item);
    /// None for an empty menu.
    std::shared_ptr<NSMenuItem> selectedItem() const;

protected:
    PropertyList shownValue() const override;
    /// Keys open the menu and move in the open one only; the choice there is what acts.
    void keyPressEvent(QKeyEvent* event) override;
    /// Scrolling a page must not change a setting that happens to pass under the pointer.
    void wheelEvent(QWheelEvent* event) override;

private:
    void showItems();
    void choose(int index);

    NSMenu entries;
};
