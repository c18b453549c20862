#include "AppKit/NSTextFieldLabel.h"

#include "AppKit/NSViewRegistry.h"

#include <QPainter>

namespace {

const NSViewClass<NSTextFieldLabel> viewClass("NSTextFieldLabel");

/// The colour of an engraved text's lower edge: light on a light background, dark on a dark one.
QColor engravingColor(const QPalette& palette) {
    return palette.color(QPalette::Window).lightness() < 128 ? QColor(0, 0, 0, 140)
                                                             : QColor(255, 255, 255, 190);
}

} // namespace

NSTextFieldLabel::NSTextFieldLabel(QWidget* parent) : NSControlWidget(parent) {
    setTextFormat(Qt::PlainText);
}

std::string NSTextFieldLabel::stringValue() const { return text().toStdString(); }

void NSTextFieldLabel::setStringValue(const std::string& newText) {
    setText(QString::fromStdString(newText));
}

void NSTextFieldLabel::setBackgroundStyle(int style) {
    backgroundStyle = style;
    update();
}

void NSTextFieldLabel::paintEvent(QPaintEvent* event) {
    if (backgroundStyle == NSBackgroundStyleRaised) {
        QPainter painter(this);
        painter.setPen(engravingColor(palette()));
        const int wrap = wordWrap() ? Qt::TextWordWrap : 0;
        painter.drawText(contentsRect().translated(0, 1), static_cast<int>(alignment()) | wrap,
                         text());
    }
    QLabel::paintEvent(event);
}
