#include "AppKit/NSAccessibility.h"

#include "AppKit/NSAccessibleWidget.h"

#include <QAccessible>
#include <QWidget>

namespace {

/// Asked for every widget; knows those that have a role of their own.
QAccessibleInterface* accessibleFor(const QString&, QObject* object) {
    auto* widget = qobject_cast<QWidget*>(object);
    auto* described = dynamic_cast<NSAccessibility*>(object);
    if (!widget || !described ||
        described->accessibilityDescription().role == NSAccessibilityRole::none) {
        return nullptr;
    }
    return new NSAccessibleWidget(*widget, *described);
}

} // namespace

void NSAccessibilityInstall() { QAccessible::installFactory(accessibleFor); }

void NSAccessibilityPostChange(QWidget& widget, NSAccessibilityChange change) {
    if (change == NSAccessibilityChange::appeared || change == NSAccessibilityChange::vanished) {
        const bool shows = change == NSAccessibilityChange::appeared;
        QAccessibleEvent event(&widget, shows ? QAccessible::ObjectShow : QAccessible::ObjectHide);
        QAccessible::updateAccessibility(&event);
        return;
    }
    QAccessible::State changed;
    changed.checked = change == NSAccessibilityChange::on;
    changed.disabled = change == NSAccessibilityChange::enabled;
    QAccessibleStateChangeEvent event(&widget, changed);
    QAccessible::updateAccessibility(&event);
}

void NSAccessibilityPostAnnouncement(QWidget& status, [[maybe_unused]] const std::string& text) {
#if QT_VERSION >= QT_VERSION_CHECK(6, 8, 0)
    QAccessibleAnnouncementEvent event(&status, QString::fromStdString(text));
#else
    // A notification is read out when it shows.
    QAccessibleEvent event(&status, QAccessible::ObjectShow);
#endif
    QAccessible::updateAccessibility(&event);
}
