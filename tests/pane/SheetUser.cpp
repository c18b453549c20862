#include "pane/SheetUser.h"

#include "AppKit/NSTextField.h"

#include <QMessageBox>
#include <QPointer>
#include <QPushButton>

bool SheetUser::eventFilter(QObject* object, QEvent* event) {
    // The line's tip is set with each of its texts.
    if (event->type() == QEvent::ToolTipChange && object->objectName() == "statusLabel") {
        const auto line = dynamic_cast<NSTextField&>(*object).stringValue();
        if (lines.empty() || lines.back() != line) {
            lines.push_back(line);
        }
    }
    const QPointer box =
        event->type() == QEvent::Show ? dynamic_cast<QMessageBox*>(object) : nullptr;
    if (box) {
        texts.push_back((box->text() + " / " + box->informativeText()).toStdString());
        later([box] {
            if (box) {
                box->buttons().first()->click();
            }
        });
    }
    return false;
}
