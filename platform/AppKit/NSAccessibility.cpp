#include "AppKit/NSAccessibility.h"

#include "AppKit/NSView.h"
#include "AppKit/NSViewAccessible.h"

#include <QAccessible>

namespace {

/// Asked for every widget; knows the views that have a role.
QAccessibleInterface* accessibleFor(const QString&, QObject* object) {
    auto* view = dynamic_cast<NSView*>(object);
    if (!view || view->accessibilityDescription().role == NSAccessibilityRole::none) {
        return nullptr;
    }
    return new NSViewAccessible(*view);
}

} // namespace

void NSAccessibilityInstall() {
    static const bool installed = (QAccessible::installFactory(accessibleFor), true);
    static_cast<void>(installed);
}

void NSAccessibilityPostValueChanged(NSView& view) {
    QAccessible::State changed;
    changed.checked = true;
    changed.disabled = true;
    QAccessibleStateChangeEvent event(&view, changed);
    QAccessible::updateAccessibility(&event);
}
