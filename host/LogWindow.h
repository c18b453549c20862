// A window with the log in it, which follows what is written.
#pragma once

#include "AppKit/NSTextFieldLabel.h"
#include "AppKit/NSWindow.h"
#include "host/BackgroundWork.h"
#include "host/LogReader.h"
#include "System/FolderWatch.h"

#include <memory>
#include <QPlainTextEdit>
#include <QSocketNotifier>
#include <system_error>

/// Of a large log it shows the end. Main thread only; the disk is read and written on another.
class LogWindow : public QWidget {
public:
    /// Opens it for a pane's window, or brings the open one to the front. It goes when the user
    /// closes it, or with the pane's window.
    static void open(NSWindow& window);

private:
    explicit LogWindow(NSWindow& window);
    void take(const LogReader::News& news);
    void forgetOldest();
    void copy();
    void chooseFile();
    void save(const QString& path);
    void tell(const QString& words) { note->setStringValue(words.toStdString()); }

    QPlainTextEdit* text;
    NSTextFieldLabel* note;
    const std::shared_ptr<FolderWatch> watch;
    const std::shared_ptr<LogReader> reader;
    std::unique_ptr<QSocketNotifier> notifier;
    BackgroundWork<LogReader::News> reading;
    std::optional<BackgroundWork<std::optional<std::system_error>>> saving;
};
