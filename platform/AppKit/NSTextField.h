// A piece of text in a view. It comes in two forms that callers need not tell apart: a caption,
// which only shows its text (NSTextFieldLabel), and a field that the user writes into
// (NSTextFieldInput).
#pragma once

#include "AppKit/NSControl.h"

/// How the background behind a text looks; a raised one gets its text engraved.
enum NSBackgroundStyle { NSBackgroundStyleNormal = 0, NSBackgroundStyleRaised = 2 };

class NSTextField : public NSControl {
public:
    virtual std::string stringValue() const = 0;
    /// Sends no action. The text is shown as it is: no markup.
    virtual void setStringValue(const std::string& text) = 0;
    virtual void setBackgroundStyle(int style) = 0;

protected:
    PropertyList shownValue() const override { return stringValue(); }
};
