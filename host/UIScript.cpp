#include "host/UIScript.h"

#include "AppKit/NSApplication.h"
#include "Foundation/NSException.h"
#include "Foundation/NSString.h"
#include "host/ScriptLine.h"
#include "System/Machine.h"

#include <chrono>
#include <cstring>
#include <iostream>

namespace {
constexpr std::chrono::milliseconds timeBetweenLooks(10);
}

UIScript::UIScript(const std::string& path, NSWindow& window,
                   std::function<void(int status)> finished)
    : lines(path), commands(window), finished(std::move(finished)) {
    QObject::connect(&continuation, &QTimer::timeout, &continuation, [this] {
        // A command's own turns of the event loop are not the place to go on, a sheet's are.
        if (commandsUnderWay == 0 || NSApp().isWaitingInCall()) {
            continuation.stop();
            readNext();
        }
    });
    look.setSingleShot(true);
    QObject::connect(&look, &QTimer::timeout, &look, [this] { guarded([this] { lookAgain(); }); });
}

void UIScript::readNext() {
    lines.readLine([this](const std::optional<std::string>& text) {
        if (!over) {
            guarded([&] { text ? runLine(*text) : end(); });
        }
    });
}

void UIScript::end() {
    if (lines.problem() != 0) {
        ++lineNumber;
        line.clear();
        throw NSException(NSFileHandleOperationException,
                          std::string("It cannot be read: ") + std::strerror(lines.problem()));
    }
    finish(0);
}

void UIScript::runLine(const std::string& text) {
    ++lineNumber;
    line.clear();
    if (text.size() > LineReader::longestLine) {
        throw NSException(
            NSInvalidArgumentException,
            stringWithFormat("The line has more than %d bytes", LineReader::longestLine));
    }
    line = text;
    const auto words = wordsOfScriptLine(line);
    if (words.empty()) {
        readNext();
    } else if (words == std::vector<std::string>{"quit"}) {
        finish(0);
    } else {
        commands.check(words);
        if (auto pause = commands.before(words)) {
            waitFor(std::move(*pause), [this, words] { runCommand(words); });
        } else {
            runCommand(words);
        }
    }
}

void UIScript::runCommand(const std::vector<std::string>& words) {
    continuation.start(0);
    ++commandsUnderWay;
    std::optional<ScriptWait> newWait;
    try {
        newWait = commands.run(words);
    } catch (...) {
        --commandsUnderWay;
        throw;
    }
    --commandsUnderWay;
    if (newWait) {
        continuation.stop();
        waitFor(std::move(*newWait), [this] { readNext(); });
    }
}

void UIScript::waitFor(ScriptWait newWait, std::function<void()> next) {
    wait = std::move(newWait);
    afterWait = std::move(next);
    waitEnd = Machine::current().clock().now() + durationOfSeconds(wait.seconds);
    lookAgain();
}

void UIScript::lookAgain() {
    // Qt's timers may come early.
    const auto left = waitEnd - Machine::current().clock().now();
    const bool timeIsOver = left.count() <= 0;
    if (wait.isDone ? wait.isDone() : timeIsOver) {
        std::exchange(afterWait, nullptr)();
    } else if (timeIsOver) {
        throw NSException(NSInvalidArgumentException, wait.failure);
    } else {
        look.start(wait.isDone ? timeBetweenLooks
                               : std::chrono::ceil<std::chrono::milliseconds>(left));
    }
}

/// Runs work of the script. What it raises ends the script with the line that it was about.
void UIScript::guarded(const std::function<void()>& work) {
    try {
        work();
    } catch (const std::exception& exception) {
        if (!over) {
            std::cerr << "line " << lineNumber << ": " << line << (line.empty() ? "" : ": ")
                      << exception.what() << std::endl;
            finish(1);
        }
    }
}

void UIScript::finish(int status) {
    over = true;
    continuation.stop();
    look.stop();
    finished(status);
}
