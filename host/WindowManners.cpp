#include "host/WindowManners.h"

#include <QAction>
#include <QCoreApplication>
#include <QIcon>

WindowManners::WindowManners(NSWindow& window, const Options& options,
                             const std::shared_ptr<const NSBundle>& pane, const std::string& client)
    : window(window), about(window, pane, client) {
    const auto icon = pane->pathForResource(pane->infoString("NSPrefPaneIconFile").value_or(""));
    window.setWindowIcon(QIcon(QString::fromStdString(icon.value_or(""))));
    window.setContextMenuPolicy(Qt::ActionsContextMenu);
    addAction("&Help and About", {Qt::Key_F1}, [this] { about.show(); });
    if (options.socket) {
        embedding = std::make_unique<Embedding>(window, *options.socket);
        return;
    }
    addAction("&Close", {Qt::CTRL | Qt::Key_W, Qt::CTRL | Qt::Key_Q, Qt::Key_Escape},
              [&window] { window.close(); });
    if (!options.script) {
        place = std::make_unique<WindowPlace>(window);
    }
}

void WindowManners::addAction(const char* title, const QList<QKeySequence>& keys,
                              std::function<void()> act) {
    auto* action = new QAction(QCoreApplication::translate("WindowManners", title), &window);
    action->setShortcuts(keys);
    QObject::connect(action, &QAction::triggered, &window, std::move(act));
    window.addAction(action);
}
