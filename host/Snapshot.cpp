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
        }
    }
    painter.end();
    return picture.save(QString::fromStdString(path), "PNG");
}
