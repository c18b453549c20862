#include "AppKit/NSAccessibleWidget.h"

NSAccessibleWidget::NSAccessibleWidget(QWidget& widget, NSAccessibility& described)
    : QAccessibleWidget(&widget), described(described) {}

/// Not asked once and for all: a layout file's properties come after the first question.
QAccessible::Role NSAccessibleWidget::role() const {
    switch (described.accessibilityDescription().role) {
    case NSAccessibilityRole::toggle:
        return QAccessible::CheckBox; // a button says neither that it is on nor that it is off
    case NSAccessibilityRole::staticText:
        return QAccessible::StaticText;
    case NSAccessibilityRole::status:
        return QAccessible::Notification;
    case NSAccessibilityRole::busyIndicator:
        return QAccessible::Animation;
    case NSAccessibilityRole::window:
        return QAccessible::Window;
    default:
        return QAccessible::Client;
    }
}

QAccessible::State NSAccessibleWidget::state() const {
    QAccessible::State state = QAccessibleWidget::state();
    const NSAccessibilityDescription description = described.accessibilityDescription();
    if (!description.shown) {
        state.invisible = true;
    }
    if (isToggle()) {
        state.checkable = true;
        state.checked = description.on;
        state.disabled = !description.enabled;
    }
    return state;
}

QString NSAccessibleWidget::text(QAccessible::Text kind) const {
    QString given = QAccessibleWidget::text(kind);
    if (kind != QAccessible::Name || !given.isEmpty()) {
        return given;
    }
    return QString::fromStdString(described.accessibilityDescription().label);
}

QStringList NSAccessibleWidget::actionNames() const {
    QStringList names = QAccessibleWidget::actionNames();
    return isToggle() ? QStringList{toggleAction(), pressAction()} + names : names;
}

void NSAccessibleWidget::doAction(const QString& name) {
    if (isToggle() && (name == pressAction() || name == toggleAction())) {
        described.accessibilityPerformPress();
    } else {
        QAccessibleWidget::doAction(name);
    }
}
