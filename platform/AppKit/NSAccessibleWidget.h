// What assistive technology sees of a widget that has a role of its own.
#pragma once

#include "AppKit/NSAccessibility.h"

#include <QAccessibleWidget>

class NSAccessibleWidget : public QAccessibleWidget {
public:
    /// Both are the same object.
    NSAccessibleWidget(QWidget& widget, NSAccessibility& described);

    QAccessible::Role role() const override;
    QAccessible::State state() const override;
    /// The layout file's name for the widget, else its own label.
    QString text(QAccessible::Text kind) const override;
    QStringList actionNames() const override;
    void doAction(const QString& name) override;

private:
    bool isToggle() const { return role() == QAccessible::CheckBox; }

    NSAccessibility& described;
};
