#include "host/Snapshot.h"

#include <QDialog>
#include <QPainter>
#include <QPixmap>

bool writeSnapshot(NSWindow& window, const std::string& path) {
    QPixmap picture = window.grab();
    QPainter painter(&picture);
    for (QDialog* sheet : window.findChildren<QDialog*>(QString(), Qt::FindDirectChildrenOnly)) {
        if (sheet->isVisible()) {
            QRect place(QPoint(), sheet->size());
            place.moveCenter(window.rect().center());
            painter.drawPixmap(place.topLeft(), sheet->grab());
            painter.setPen(window.palette().color(QPalette::Mid)); // stands for the frame
            painter.drawRect(place.adjusted(-1, -1, 0, 0));
        }
    }
    painter.end();
    return picture.save(QString::fromStdString(path), "PNG");
}
