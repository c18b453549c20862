// What every control can do: be usable or not, be drawn again, show a value, and tell its target
// that the user acted on it. Each control is a small class on top of its Qt widget. Main thread
// only.
#pragma once

#include "Foundation/NSObject.h"

#include <functional>
#include <string>

class NSControl : public NSObject {
public:
    /// Receives the control that the user acted on.
    using Action = std::function<void(NSObject* sender)>;

    virtual void setEnabled(bool enabled) = 0;
    virtual bool isEnabled() const = 0;
    /// Has the control drawn again at the next turn of the event loop.
    virtual void setNeedsDisplay() = 0;

    /// What happens when the user acts on the control; values set by program do not count.
    void setAction(Action newAction) { action = std::move(newAction); }
    /// Does what a user's act does.
    void sendAction();

    /// The keys "value", what the control shows, and "enabled". Any other key raises
    /// NSUndefinedKeyException.
    PropertyList valueForKey(const std::string& key) const override;

protected:
    virtual PropertyList shownValue() const = 0;

private:
    Action action;
};

/// Joins a Qt widget with a kind of control.
template <class Widget, class Control = NSControl>
class NSControlWidget : public Widget, public Control {
public:
    using Widget::Widget;

    void setEnabled(bool enabled) override { Widget::setEnabled(enabled); }
    bool isEnabled() const override { return Widget::isEnabled(); }
    void setNeedsDisplay() override { Widget::update(); }
};
