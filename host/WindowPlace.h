// Where the window stood and how large it was when it was last seen.
#pragma once

#include "Foundation/NSOperationQueue.h"

#include <QByteArray>
#include <QObject>
#include <QTimer>
#include <string>

class QWidget;

/// Main thread only; the disk is written on another one.
class WindowPlace : public QObject {
public:
    /// Brings the window to where it was, as far as it can be seen there. Before it is shown; it
    /// lives longer than this.
    explicit WindowPlace(QWidget& window);

protected:
    bool eventFilter(QObject* object, QEvent* event) override;

private:
    void save();

    QWidget& window;
    const std::string path; // of a file of the host's own
    QTimer settled;         // runs from a change until nothing has changed for a moment
    QByteArray saved;
    NSOperationQueue writer;
};
