#include "host/ScriptCommands.h"

#include "AppKit/NSAlert.h"
#include "AppKit/NSPopUpButton.h"
#include "AppKit/NSScrollView.h"
#include "AppKit/NSTextFieldInput.h"
#include "Foundation/NSException.h"
#include "host/ControlState.h"
#include "host/Snapshot.h"
#include "host/UserInput.h"
#include "System/Machine.h"

#include <iostream>
#include <QApplication>
#include <QPushButton>
#include <QStyleHints>

namespace {

[[noreturn]] void fail(const std::string& reason) {
    throw NSException(NSInvalidArgumentException, reason);
}

double number(const std::string& text, int lowest, int highest) {
    bool valid = false;
    const double value = QString::fromStdString(text).toDouble(&valid);
    if (!valid || !(value >= lowest && value <= highest)) {
        fail("\"" + text + "\" is no number from " + std::to_string(lowest) + " to " +
             std::to_string(highest));
    }
    return value;
}

double seconds(const std::string& text) { return number(text, 0, 86'400); }

double coordinate(const std::string& text) { return number(text, -100'000, 100'000); }

void print(const std::string& line) { std::cout << line << std::endl; }

NSAlert* frontSheet() {
    return NSAlert::shownAlerts().empty() ? nullptr : NSAlert::shownAlerts().back();
}

} // namespace

const std::map<std::string, ScriptCommands::Command>& ScriptCommands::all() {
    static const std::map<std::string, Command> commands = {
        {"press", {1, &ScriptCommands::press}},   {"drag", {5, &ScriptCommands::drag}},
        {"type", {2, &ScriptCommands::type}},     {"choose", {2, &ScriptCommands::choose}},
        {"show", {1, &ScriptCommands::show}},     {"items", {1, &ScriptCommands::items}},
        {"wait", {3, &ScriptCommands::wait}},     {"sheet", {1, &ScriptCommands::sheet}},
        {"answer", {1, &ScriptCommands::answer}}, {"snapshot", {1, &ScriptCommands::snapshot}},
        {"sleep", {1, &ScriptCommands::sleep}},
    };
    return commands;
}

void ScriptCommands::check(const std::vector<std::string>& words) const {
    const auto found = all().find(words.front());
    if (found == all().end()) {
        fail("unknown command " + words.front());
    }
    if (words.size() != found->second.arguments + 1) {
        fail(words.front() + " takes " + std::to_string(found->second.arguments) +
             " arguments, not " + std::to_string(words.size() - 1));
    }
}

std::optional<ScriptWait> ScriptCommands::before(const std::vector<std::string>& words) const {
    const bool presses = words.front() == "press" || words.front() == "drag";
    if (!presses || words[1] != lastPressed) {
        return std::nullopt;
    }
    // Two presses in quick succession would be one double click.
    const auto interval = durationOfSeconds(
        (QGuiApplication::styleHints()->mouseDoubleClickInterval() + 50) / 1000.0);
    const auto left = lastPress + interval - Machine::current().clock().now();
    if (left.count() <= 0) {
        return std::nullopt;
    }
    return ScriptWait{nullptr, static_cast<double>(left.count()) / 1e9, ""};
}

std::optional<ScriptWait> ScriptCommands::run(const std::vector<std::string>& words) {
    return (this->*all().at(words.front()).run)({words.begin() + 1, words.end()});
}

std::optional<ScriptWait> ScriptCommands::press(const Arguments& arguments) {
    QWidget& widget = reachableControl(arguments[0]);
    notePress(arguments[0]);
    UserInput::click(widget, widget.rect().center());
    return std::nullopt;
}

std::optional<ScriptWait> ScriptCommands::drag(const Arguments& arguments) {
    QWidget& widget = reachableControl(arguments[0]);
    const auto point = [&](std::size_t index) {
        return QPointF(coordinate(arguments[index]),
                       widget.height() - coordinate(arguments[index + 1]))
            .toPoint();
    };
    const QPoint from = point(1);
    const QPoint to = point(3);
    notePress(arguments[0]);
    UserInput::drag(widget, from, to);
    return std::nullopt;
}

std::optional<ScriptWait> ScriptCommands::type(const Arguments& arguments) {
    QWidget& widget = usableControl(arguments[0]);
    if (!dynamic_cast<NSTextFieldInput*>(&widget)) {
        fail(arguments[0] + " takes no text");
    }
    UserInput::type(widget, QString::fromStdString(arguments[1]));
    return std::nullopt;
}

std::optional<ScriptWait> ScriptCommands::choose(const Arguments& arguments) {
    QWidget& widget = usableControl(arguments[0]);
    const auto* button = dynamic_cast<NSPopUpButton*>(&widget);
    const int index = button ? button->findText(QString::fromStdString(arguments[1]),
                                                Qt::MatchExactly | Qt::MatchCaseSensitive)
                             : -1;
    if (index < 0) {
        fail(arguments[0] + " has no item \"" + arguments[1] + "\"");
    }
    UserInput::choose(widget, index);
    return std::nullopt;
}

std::optional<ScriptWait> ScriptCommands::show(const Arguments& arguments) {
    const ControlState state = stateOfControl(control(arguments[0]));
    print(arguments[0] + " = " + state.value + (state.enabled ? " (enabled)" : " (disabled)"));
    return std::nullopt;
}

std::optional<ScriptWait> ScriptCommands::items(const Arguments& arguments) {
    auto* button = dynamic_cast<NSPopUpButton*>(&control(arguments[0]));
    if (!button) {
        fail(arguments[0] + " has no menu");
    }
    for (const auto& item : button->menu().itemArray()) {
        print(item->title());
    }
    return std::nullopt;
}

std::optional<ScriptWait> ScriptCommands::wait(const Arguments& arguments) {
    const QWidget& widget = control(arguments[0]);
    return ScriptWait{
        [&widget, text = arguments[1]] { return stateOfControl(widget).value == text; },
        seconds(arguments[2]), arguments[0] + " did not become \"" + arguments[1] + "\""};
}

std::optional<ScriptWait> ScriptCommands::sheet(const Arguments& arguments) {
    return ScriptWait{[] {
                          if (const NSAlert* alert = frontSheet()) {
                              print(alert->messageText());
                              print(alert->informativeText());
                              return true;
                          }
                          return false;
                      },
                      seconds(arguments[0]), "there is no sheet"};
}

std::optional<ScriptWait> ScriptCommands::answer(const Arguments& arguments) {
    const NSAlert* alert = frontSheet();
    if (!alert) {
        fail("there is no sheet");
    }
    QPushButton* button = alert->buttonWithTitle(arguments[0]);
    if (!button) {
        fail("the sheet has no button \"" + arguments[0] + "\"");
    }
    UserInput::click(*button, button->rect().center());
    return std::nullopt;
}

std::optional<ScriptWait> ScriptCommands::snapshot(const Arguments& arguments) {
    if (!writeSnapshot(window, arguments[0])) {
        fail("the picture " + arguments[0] + " cannot be written");
    }
    return std::nullopt;
}

std::optional<ScriptWait> ScriptCommands::sleep(const Arguments& arguments) {
    return ScriptWait{nullptr, seconds(arguments[0]), ""};
}

QWidget& ScriptCommands::control(const std::string& name) const {
    // An empty name is that of everything that has none.
    auto* widget =
        name.empty() ? nullptr : window.findChild<QWidget*>(QString::fromStdString(name));
    if (!widget) {
        fail("there is no control " + name);
    }
    return *widget;
}

QWidget& ScriptCommands::reachableControl(const std::string& name) const {
    QWidget& widget = control(name);
    if (QApplication::activeModalWidget()) {
        fail("a sheet is in front of " + name);
    }
    if (!widget.isVisible()) {
        fail(name + " is not on the screen");
    }
    NSScrollView::scrollToVisible(widget);
    return widget;
}

QWidget& ScriptCommands::usableControl(const std::string& name) const {
    QWidget& widget = reachableControl(name);
    if (!stateOfControl(widget).enabled) {
        fail(name + " is disabled");
    }
    return widget;
}

void ScriptCommands::notePress(const std::string& name) {
    lastPressed = name;
    lastPress = Machine::current().clock().now();
}
