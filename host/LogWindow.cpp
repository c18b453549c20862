#include "host/LogWindow.h"

#include "Shared/QVLogFiles.h"
#include "System/FileReplacement.h"

#include <algorithm>
#include <QApplication>
#include <QBoxLayout>
#include <QClipboard>
#include <QFileDialog>
#include <QFontDatabase>
#include <QFontInfo>
#include <QPushButton>
#include <QScrollBar>
#include <QTextCursor>
#include <QTextDocumentFragment>

namespace {

constexpr int mostLines = 20'000;
constexpr int mostCharacters = 1024 * 1024;

class Text {
    Q_DECLARE_TR_FUNCTIONS(LogWindow)

public:
    static QString title() { return tr("Log of the Settings Window"); }
    static QString copy() { return tr("Copy"); }
    static QString save() { return tr("Save As..."); }
    static QString lines() { return tr("Lines: %1"); }
    static QString empty() { return tr("Nothing has been written to the log yet."); }
    static QString saved() { return tr("Saved as %1"); }
    static QString notSaved() { return tr("Not saved as %1: %2"); }
};

/// Who has set large letters has set those of all texts, but for the fixed font's, as a rule.
QFont logFont() {
    auto font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    const auto size = [](const QFont& any) { return QFontInfo(any).pointSizeF(); };
    font.setPointSizeF(std::max(size(font), size(QApplication::font())));
    return font;
}

} // namespace

void LogWindow::open(NSWindow& window) {
    auto* log = window.findChild<QWidget*>("logWindow");
    if (!log) {
        log = new LogWindow(window);
    }
    log->show();
    log->raise();
    log->activateWindow();
}

LogWindow::LogWindow(NSWindow& window)
    : QWidget(&window, Qt::Window), text(new QPlainTextEdit), note(new NSTextFieldLabel),
      watch(std::make_shared<FolderWatch>()), reader(std::make_shared<LogReader>(logFolder())),
      reading(
          [this]() -> std::function<LogReader::News()> {
              return [reader = reader, watch = watch] {
                  watch->add(logFolder()); // first, so that nothing is missed
                  return reader->read();
              };
          },
          [this](const LogReader::News& news) { take(news); }) {
    setObjectName("logWindow");
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(Text::title());
    text->setObjectName("logText");
    text->setReadOnly(true);
    text->setUndoRedoEnabled(false);
    text->setLineWrapMode(QPlainTextEdit::NoWrap);
    text->setMaximumBlockCount(mostLines);
    text->setFont(logFont());
    text->setAccessibleName(Text::title());
    note->setObjectName("logNote");
    note->setWordWrap(true);
    note->setMinimumWidth(1); // or a long word would make the window as wide
    auto* column = new QVBoxLayout(this);
    column->addWidget(text);
    auto* row = new QHBoxLayout;
    column->addLayout(row);
    row->addWidget(note, 1);
    const auto addButton = [&](const QString& name, const QString& title,
                               void (LogWindow::*act)()) {
        auto* button = new QPushButton(title);
        button->setObjectName(name);
        connect(button, &QPushButton::clicked, this, act);
        row->addWidget(button);
    };
    addButton("logCopy", Text::copy(), &LogWindow::copy);
    addButton("logSave", Text::save(), &LogWindow::chooseFile);
    constexpr QSize comfortable(760, 460);
    resize(comfortable);
    if (watch->fileDescriptor() >= 0) {
        notifier =
            std::make_unique<QSocketNotifier>(watch->fileDescriptor(), QSocketNotifier::Read);
        connect(notifier.get(), &QSocketNotifier::activated, this, [this] {
            watch->drain();
            reading.start();
        });
    }
    reading.start();
}

/// Who reads further up stays there; who stands at the end goes on with it.
void LogWindow::take(const LogReader::News& news) {
    QScrollBar& bar = *text->verticalScrollBar();
    const bool follows = bar.value() == bar.maximum();
    if (news.startsAnew) {
        text->clear();
    }
    QTextCursor cursor(text->document());
    cursor.movePosition(QTextCursor::End);
    cursor.insertText(QString::fromStdString(news.text));
    forgetOldest();
    if (follows) {
        bar.setValue(bar.maximum());
    }
    // The last line feed begins a line that is not there yet.
    const int lines = text->document()->blockCount() - 1;
    tell(lines == 0 ? Text::empty() : Text::lines().arg(lines));
}

void LogWindow::forgetOldest() {
    const int surplus = text->document()->characterCount() - mostCharacters;
    if (surplus > 0) {
        QTextCursor cursor(text->document());
        cursor.setPosition(surplus, QTextCursor::KeepAnchor);
        cursor.movePosition(QTextCursor::NextBlock, QTextCursor::KeepAnchor);
        cursor.removeSelectedText();
    }
}

/// What is selected, else everything.
void LogWindow::copy() {
    const auto selected = text->textCursor().selection().toPlainText();
    QApplication::clipboard()->setText(selected.isEmpty() ? text->toPlainText() : selected);
}

void LogWindow::chooseFile() {
    auto* dialog = new QFileDialog(this, Text::save());
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->selectFile(QString::fromStdString(logFileName(nameOfLoggedProgram(), 1)));
    connect(dialog, &QFileDialog::fileSelected, this, &LogWindow::save);
    dialog->open();
}

void LogWindow::save(const QString& path) {
    using Problem = std::optional<std::system_error>;
    saving.emplace(
        [path, content = text->toPlainText().toStdString()]() -> std::function<Problem()> {
            return [path, content] { return writeFileAtomically(content, path.toStdString()); };
        },
        [this, path](const Problem& problem) {
            tell(problem
                     ? Text::notSaved().arg(path, QString::fromStdString(problem->code().message()))
                     : Text::saved().arg(path));
        });
    saving->start();
}
