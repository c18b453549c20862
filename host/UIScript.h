// Runs a script of UI commands, one line after the other, from the event loop: the window stays
// alive between and during commands, and while a command waits for the answer to a sheet that it
// called up, the script goes on.
#pragma once

#include "host/LineReader.h"
#include "host/ScriptCommands.h"

#include <functional>
#include <QTimer>
#include <string>

class UIScript {
public:
    /// `finished` is called once, at "quit" or the script's end with 0, at the first line that
    /// fails with 1, after that line has been written to standard error. Raises as LineReader does.
    UIScript(const std::string& path, NSWindow& window, std::function<void(int status)> finished);

    void start() { readNext(); }

private:
    void readNext();
    void runLine(const std::string& text);
    void end();
    void runCommand(const std::vector<std::string>& words);
    void waitFor(ScriptWait newWait, std::function<void()> next);
    void lookAgain();
    void guarded(const std::function<void()>& work);
    void finish(int status);

    LineReader lines;
    ScriptCommands commands;
    std::function<void(int)> finished;
    QTimer continuation; // the next line, while a command is under way
    QTimer look;         // at what is being waited for
    ScriptWait wait;
    Clock::Time waitEnd;
    std::function<void()> afterWait;
    std::string line;
    int lineNumber = 0;
    int commandsUnderWay = 0;
    bool over = false;
};
