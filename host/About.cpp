#include "host/About.h"

#include <QCoreApplication>
#include <QMessageBox>
#include <utility>

namespace {

class Text {
    Q_DECLARE_TR_FUNCTIONS(About)

public:
    static QString title() { return tr("Help and About"); }
    static QString notInstalled() { return tr("not installed"); }
    static QString help() {
        return tr("The switch turns the network client on, now and at every login, and off again. "
                  "The other controls say how it updates, shows itself and connects. Every change "
                  "counts at once.\n\n"
                  "Tab goes from control to control, and the space bar presses. Ctrl+W, Ctrl+Q "
                  "and Escape close a window of its own; a start or stop under way comes to its "
                  "end.\n\n"
                  "Settings application: %1\nPane: %2\nClient: %3");
    }
};

QString versionOf(const NSBundle& bundle) {
    return QString::fromStdString(bundle.infoString("CFBundleShortVersionString").value_or("?"));
}

/// Looks for it on the disk. Any thread.
QString versionOfClient(const std::string& identifier) {
    const auto client = NSBundle::bundleWithIdentifier(identifier);
    return client ? versionOf(*client) : Text::notInstalled();
}

} // namespace

About::About(NSWindow& window, std::shared_ptr<const NSBundle> pane, const std::string& client)
    : window(window), pane(std::move(pane)),
      looking([client] { return [client] { return versionOfClient(client); }; },
              [this](const QString& version) { open(version); }) {}

void About::show() {
    if (box) {
        box->raise();
        box->activateWindow();
        return;
    }
    looking.start();
}

void About::open(const QString& clientVersion) {
    if (box) {
        return; // F1 was pressed twice
    }
    box = new QMessageBox(QMessageBox::NoIcon, Text::title(), window.windowTitle(),
                          QMessageBox::Close, &window);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setModal(false);
    box->setIconPixmap(window.windowIcon().pixmap(64));
    box->setTextFormat(Qt::PlainText);
    box->setInformativeText(Text::help().arg(TESSALINE_VERSION, versionOf(*pane), clientVersion));
    box->show();
}
