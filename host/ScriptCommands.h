// The commands of a UI script, each acting on the real window.
#pragma once

#include "AppKit/NSWindow.h"
#include "System/Clock.h"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

/// A command that is not done at once.
struct ScriptWait {
    /// Asked again and again; true ends the wait.
    std::function<bool()> isDone;
    double seconds = 0;
    /// What went wrong when the time is over; empty when that is how the wait should end.
    std::string failure;
};

class ScriptCommands {
public:
    explicit ScriptCommands(NSWindow& window) : window(window) {}

    /// Raises NSInvalidArgumentException unless the words, the command's name first, are a command
    /// that exists with as many arguments as it takes.
    void check(const std::vector<std::string>& words) const;
    /// What has to have passed before the command may start: nothing for most.
    std::optional<ScriptWait> before(const std::vector<std::string>& words) const;
    /// Does it. Raises NSException with what went wrong.
    std::optional<ScriptWait> run(const std::vector<std::string>& words);

private:
    using Arguments = std::vector<std::string>;
    struct Command {
        std::size_t arguments;
        std::optional<ScriptWait> (ScriptCommands::*run)(const Arguments&);
    };
    static const std::map<std::string, Command>& all();

    std::optional<ScriptWait> press(const Arguments& arguments);
    std::optional<ScriptWait> drag(const Arguments& arguments);
    std::optional<ScriptWait> type(const Arguments& arguments);
    std::optional<ScriptWait> choose(const Arguments& arguments);
    std::optional<ScriptWait> show(const Arguments& arguments);
    std::optional<ScriptWait> items(const Arguments& arguments);
    std::optional<ScriptWait> wait(const Arguments& arguments);
    std::optional<ScriptWait> sheet(const Arguments& arguments);
    std::optional<ScriptWait> answer(const Arguments& arguments);
    std::optional<ScriptWait> snapshot(const Arguments& arguments);
    std::optional<ScriptWait> sleep(const Arguments& arguments);

    QWidget& control(const std::string& name) const;
    QWidget& reachableControl(const std::string& name) const;
    QWidget& usableControl(const std::string& name) const;
    void notePress(const std::string& name);

    NSWindow& window;
    std::string lastPressed;
    Clock::Time lastPress;
};
