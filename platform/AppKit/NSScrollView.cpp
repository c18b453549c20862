#include "AppKit/NSScrollView.h"

#include <QHBoxLayout>

namespace {

constexpr int charactersAcross = 100;
constexpr int everything = 1000; // to the margins' 1

} // namespace

NSScrollView::NSScrollView(QWidget* documentView) {
    auto* column = new QWidget;
    auto* layout = new QHBoxLayout(column);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addStretch(1);
    layout->addWidget(documentView, everything);
    layout->addStretch(1);
    documentView->setMaximumWidth(fontMetrics().averageCharWidth() * charactersAcross);

    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::NoFocus); // what it shows has the keyboard
    setWidgetResizable(true);
    setWidget(column);
}

QSize NSScrollView::sizeHint() const { return widget()->sizeHint(); }

void NSScrollView::scrollToVisible(QWidget& widget) {
    for (QWidget* around = widget.parentWidget(); around; around = around->parentWidget()) {
        if (auto* area = dynamic_cast<NSScrollView*>(around)) {
            area->ensureWidgetVisible(&widget);
        }
    }
}
