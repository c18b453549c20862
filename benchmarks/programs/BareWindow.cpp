// A plain Qt window with as many widgets of the same kinds as the pane has: what WindowBenchmark
// compares the pane with. Says "shown" once it is drawn, and ends with its standard input.
#include <cstdio>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>
#include <QWindow>

int main(int count, char** arguments) {
    QApplication application(count, arguments);
    QWidget window;
    QVBoxLayout layout(&window);
    const auto add = [](QLayout* to, auto* widget) {
        to->addWidget(widget);
        return widget;
    };
    for (const char* text : {"Network Client", "Tolvin", "Off", "On", "Status: Checking..."}) {
        add(&layout, new QLabel(text));
    }
    add(&layout, new QWidget)->setMinimumSize(88, 28);
    add(&layout, new QWidget)->setMinimumSize(18, 18);
    auto* client = new QVBoxLayout(add(&layout, new QGroupBox("Client")));
    for (const char* text : {"Check for &updates automatically", "Do not show update &dialogs",
                             "Show the &icon in the menu bar", "Accept &maintenance requests"}) {
        add(client, new QCheckBox(text));
    }
    auto* network = new QVBoxLayout(add(&layout, new QGroupBox("Network")));
    add(network, new QLabel("I&nterface:"));
    add(network, new QComboBox);
    add(network, new QCheckBox("Custom &port:"));
    add(network, new QLineEdit);
    add(network, new QCheckBox("Turn &Bonjour off"));
    window.show();
    while (!window.windowHandle()->isExposed()) {
        QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    window.repaint();
    std::puts("shown");
    std::fflush(stdout);
    return std::getchar() == EOF ? 0 : 1;
}
