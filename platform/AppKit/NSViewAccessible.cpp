#include "AppKit/NSViewAccessible.h"

#include "AppKit/NSView.h"

NSViewAccessible::NSViewAccessible(NSView& view)
    : QAccessibleWidget(&view, QAccessible::Button) {} // a checkable button is a switch

NSView& NSViewAccessible::view() const { return *dynamic_cast<NSView*>(widget()); }

QAccessible::State NSViewAccessible::state() const {
    const NSAccessibilityDescription description = view().accessibilityDescription();
    QAccessible::State state = QAccessibleWidget::state();
    state.checkable = true;
    state.checked = description.on;
    state.disabled = !description.enabled;
    return state;
}

QString NSViewAccessible::text(QAccessible::Text kind) const {
    QString given = QAccessibleWidget::text(kind);
    if (kind != QAccessible::Name || !given.isEmpty()) {
        return given;
    }
    return QString::fromStdString(view().accessibilityDescription().label);
}

QStringList NSViewAccessible::actionNames() const {
    return QStringList{pressAction(), toggleAction()} + QAccessibleWidget::actionNames();
}

void NSViewAccessible::doAction(const QString& name) {
    if (name == pressAction() || name == toggleAction()) {
        view().accessibilityPerformPress();
    } else {
        QAccessibleWidget::doAction(name);
    }
}
