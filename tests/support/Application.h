// What tests of views need once: the application object of the widgets. It is never destroyed,
// because at exit Qt's own statics may be gone before it.
#pragma once

#include <QApplication>

inline QApplication& testApplication() {
    static int count = 1;
    static char name[] = "tests";
    static char* arguments[] = {name, nullptr};
    static auto* application = new QApplication(count, arguments);
    return *application;
}
