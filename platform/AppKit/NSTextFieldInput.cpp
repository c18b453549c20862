#include "AppKit/NSTextFieldInput.h"

#include "AppKit/NSViewRegistry.h"

namespace {
const NSViewClass<NSTextFieldInput> viewClass("NSTextFieldInput");
}

NSTextFieldInput::NSTextFieldInput(QWidget* parent) : NSControlWidget(parent) {
    connect(this, &QLineEdit::editingFinished, this, [this] { commit(); });
}

void NSTextFieldInput::setStringValue(const std::string& newText) {
    setText(QString::fromStdString(newText));
    committed = text();
}

void NSTextFieldInput::commit() {
    if (text() != committed) {
        committed = text();
        sendAction();
    }
}
