// A one-line field that the user writes into. It sends its action on Return and when the user
// leaves it, each time only if the text is another than at the last action or setStringValue.
#pragma once

#include "AppKit/NSTextField.h"

#include <QLineEdit>

class NSTextFieldInput : public NSControlWidget<QLineEdit, NSTextField> {
public:
    explicit NSTextFieldInput(QWidget* parent = nullptr);

    std::string stringValue() const override { return text().toStdString(); }
    void setStringValue(const std::string& text) override;
    /// A field draws its own background, so no style changes it.
    void setBackgroundStyle(int) override {}

private:
    void commit();

    QString committed;
};
