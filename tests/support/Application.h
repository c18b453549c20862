// What tests of views need once: the application object of the widgets.
#pragma once

#include <QApplication>

inline QApplication& testApplication() {
    static int count = 1;
    static char name[] = "tests";
    static char* arguments[] = {name, nullptr};
    static QApplication application(count, arguments);
    return application;
}
