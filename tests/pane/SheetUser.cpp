#include "pane/SheetUser.h"

#include <QMessageBox>
#include <QPointer>
#include <QPushButton>

bool SheetUser::eventFilter(QObject* object, QEvent* event) {
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
