#include "host/WindowManners.h"

#include <QAction>
#include <QCoreApplication>
#include <QIcon>

namespace {

class Text {
    Q_DECLARE_TR_FUNCTIONS(WindowManners)

public:
    static QString help() { return tr("&Help and About"); }
    static QString close() { return tr("&Close"); }
};

} // namespace

WindowManners::WindowManners(NSWindow& window, const Options& options,
                             const std::shared_ptr<const NSBundle>& pane, const std::string& client)
    : window(window), about(window, pane, client) {
    const auto icon = pane->pathForResource(pane->infoString("NSPrefPaneIconFile").value_or(""));
    window.setWindowIcon(QIcon(QString::fromStdString(icon.value_or(""))));
    window.setContextMenuPolicy(Qt::ActionsContextMenu);
    addAction(Text::help(), {Qt::Key_F1}, [this] { about.show(); });
    if (options.socket) {
        embedding = std::make_unique<Embedding>(window, *options.socket);
        return;
    }
    addAction(Text::close(), {Qt::CTRL | Qt::Key_W, Qt::CTRL | Qt::Key_Q, Qt::Key_Escape},
              [&window] { window.close(); });
    if (!options.script) {
        place = std::make_unique<WindowPlace>(window);
    }
}

void WindowManners::addAction(const QString& title, const QList<QKeySequence>& keys,
                              std::function<void()> act) {
    auto* action = new QAction(title, &window);
    action->setShortcuts(keys);
    QObject::connect(action, &QAction::triggered, &window, std::move(act));
    window.addAction(action);
}
