#include "AppKit/NSTextFieldLabel.h"

#include "AppKit/NSViewRegistry.h"

#include <algorithm>
#include <QEvent>
#include <QPainter>
#include <QStyle>

namespace {

const NSViewClass<NSTextFieldLabel> viewClass("NSTextFieldLabel");

/// The colour of an engraved text's lower edge: light on a light background, dark on a dark one.
QColor engravingColor(const QPalette& palette) {
    return palette.color(QPalette::Window).lightness() < 128 ? QColor(0, 0, 0, 140)
                                                             : QColor(255, 255, 255, 190);
}

/// No line and no tip takes more characters, and laying out a megabyte takes a minute.
constexpr int charactersShown = 1000;
constexpr int charactersWithoutBreak = 40;

/// What can be shown of a text of any length.
QString beginning(const std::string& text) {
    const auto bytes = QByteArrayView(text).first(
        std::min<qsizetype>(static_cast<qsizetype>(text.size()), qsizetype{4} * charactersShown));
    QString shown = QString::fromUtf8(bytes);
    if (shown.size() > charactersShown) {
        shown = shown.left(charactersShown) + QChar(0x2026);
    }
    return shown;
}

/// Markup, which lets a tip have several lines; a text without blanks may be broken anywhere.
QString tipOf(const QString& text) {
    QString broken;
    for (int start = 0; start < text.size(); start += charactersWithoutBreak) {
        broken += text.mid(start, charactersWithoutBreak).toHtmlEscaped() + "&#8203;";
    }
    return "<p>" + broken.replace('\n', "<br>") + "</p>";
}

} // namespace

NSTextFieldLabel::NSTextFieldLabel(QWidget* parent) : NSControlWidget(parent) {
    setTextFormat(Qt::PlainText);
}

std::string NSTextFieldLabel::stringValue() const { return value.value_or(text().toStdString()); }

void NSTextFieldLabel::setStringValue(const std::string& newText) {
    const bool changes = newText != stringValue();
    value = newText;
    if (keepsItsRoom()) {
        showWhatFits();
    } else {
        setText(QString::fromStdString(newText));
    }
    if (changes && isLive()) {
        NSAccessibilityPostAnnouncement(*this, accessibilityDescription().label);
    }
}

NSAccessibilityDescription NSTextFieldLabel::accessibilityDescription() const {
    return {.role = isLive() ? NSAccessibilityRole::status : NSAccessibilityRole::staticText,
            .label = beginning(stringValue()).simplified().toStdString()};
}

bool NSTextFieldLabel::keepsItsRoom() const {
    return sizePolicy().horizontalPolicy() == QSizePolicy::Ignored;
}

void NSTextFieldLabel::showWhatFits() {
    const QString whole = beginning(stringValue());
    const QString line = whole.simplified();
    const QString fitting = fontMetrics().elidedText(line, Qt::ElideRight, contentsRect().width());
    setToolTip(fitting == line ? QString() : tipOf(whole));
    setText(fitting);
}

void NSTextFieldLabel::resizeEvent(QResizeEvent* event) {
    NSControlWidget::resizeEvent(event);
    if (value && keepsItsRoom()) {
        showWhatFits();
    }
}

/// A label would go by its text's direction, and stand on the wrong side where that is another one.
bool NSTextFieldLabel::event(QEvent* event) {
    if (event->type() == QEvent::Polish) {
        setAlignment(QStyle::visualAlignment(layoutDirection(), alignment()) | Qt::AlignAbsolute);
    }
    return NSControlWidget::event(event);
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
