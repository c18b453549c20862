// A caption: text that the user reads but cannot change.
#pragma once

#include "AppKit/NSTextField.h"

#include <QLabel>

class NSTextFieldLabel : public NSControlWidget<QLabel, NSTextField> {
public:
    explicit NSTextFieldLabel(QWidget* parent = nullptr);

    std::string stringValue() const override;
    void setStringValue(const std::string& text) override;
    /// On a raised background the text casts a thin light edge downwards.
    void setBackgroundStyle(int style) override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    int backgroundStyle = NSBackgroundStyleNormal;
};
