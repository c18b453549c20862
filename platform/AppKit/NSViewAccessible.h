// What assistive technology sees of a view that has a role.
#pragma once

#include <QAccessibleWidget>

class NSView;

class NSViewAccessible : public QAccessibleWidget {
public:
    explicit NSViewAccessible(NSView& view);

    QAccessible::State state() const override;
    /// The layout file's name for the view, else the view's own label.
    QString text(QAccessible::Text kind) const override;
    QStringList actionNames() const override;
    void doAction(const QString& name) override;

private:
    NSView& view() const;
};
