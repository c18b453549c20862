// A caption: text that the user reads but cannot change. Where the layout file's size policy is
// "Ignored" across, the label keeps the room that it has, shows as much of its text as one line
// takes, and has the rest in its tool tip; everywhere else its room follows the text. One with the
// property "live" is read out to whoever listens to the screen whenever its text changes.
#pragma once

#include "AppKit/NSAccessibility.h"
#include "AppKit/NSTextField.h"

#include <optional>
#include <QLabel>

class NSTextFieldLabel : public NSControlWidget<QLabel, NSTextField>, public NSAccessibility {
public:
    explicit NSTextFieldLabel(QWidget* parent = nullptr);

    /// The whole text, whatever of it is shown.
    std::string stringValue() const override;
    void setStringValue(const std::string& text) override;
    /// On a raised background the text casts a thin light edge downwards.
    void setBackgroundStyle(int style) override;
    NSAccessibilityDescription accessibilityDescription() const override;

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    bool isLive() const { return property("live").toBool(); }
    bool keepsItsRoom() const;
    void showWhatFits();

    std::optional<std::string> value; // none while it is the layout file's
    int backgroundStyle = NSBackgroundStyleNormal;
};
