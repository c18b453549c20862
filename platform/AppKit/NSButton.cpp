#include "AppKit/NSButton.h"

#include "AppKit/NSViewRegistry.h"

#include <QStyleOptionButton>
#include <QStylePainter>

namespace {

const NSViewClass<NSButton> viewClass("NSButton");

QSize sizeOf(const QString& text, const QFontMetrics& metrics) {
    return metrics.size(Qt::TextShowMnemonic, text);
}

} // namespace

NSButton::NSButton(QWidget* parent) : NSControlWidget(parent) {
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Minimum);
    connect(this, &QCheckBox::clicked, this, [this] { sendAction(); });
}

/// The title with as many line breaks as the width takes.
QString NSButton::brokenTitle(int width) const {
    const int besides = QCheckBox::sizeHint().width() - sizeOf(text(), fontMetrics()).width();
    QString lines, line;
    for (const QString& word : text().split(' ')) {
        const QString longer = line.isEmpty() ? word : line + ' ' + word;
        if (!line.isEmpty() && sizeOf(longer, fontMetrics()).width() > width - besides) {
            lines += line + '\n';
            line = word;
        } else {
            line = longer;
        }
    }
    return lines + line;
}

QSize NSButton::sizeIn(int width) const {
    QStyleOptionButton option;
    initStyleOption(&option);
    option.text = brokenTitle(width);
    return style()->sizeFromContents(QStyle::CT_CheckBox, &option,
                                     sizeOf(option.text, fontMetrics()), this);
}

/// The longest word's width, in one line: what the height is follows from the width.
QSize NSButton::minimumSizeHint() const {
    return {sizeIn(0).width(), QCheckBox::minimumSizeHint().height()};
}

void NSButton::paintEvent(QPaintEvent*) {
    QStyleOptionButton option;
    initStyleOption(&option);
    option.text = brokenTitle(width());
    QStylePainter(this).drawControl(QStyle::CE_CheckBox, option);
}
