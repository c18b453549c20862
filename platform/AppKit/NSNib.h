// A layout file: the widgets of a view, loaded when the program runs. It is a Designer file whose
// object names are outlet names; a widget's property "action" names the action that it sends, and a
// true property "outlet" says that the owner has to know it.
#pragma once

#include "AppKit/NSNibOwner.h"

#include <memory>
#include <string>

class QWidget;

constexpr const char* NSNibLoadException = "NSNibLoadException";

class NSNib {
public:
    explicit NSNib(std::string path) : path(std::move(path)) {}

    /// Builds the view, connects the owner's outlets and the widgets' actions, and wakes every
    /// view. Raises NSNibLoadException, with one line that names the file, for a file that cannot
    /// be read or is broken, an unknown class, an unknown or missing outlet, an outlet of another
    /// class, and an unknown action. Main thread, while an NSApplication lives.
    std::unique_ptr<QWidget> instantiateWithOwner(NSNibOwner& owner) const;

private:
    [[noreturn]] void raise(const std::string& reason) const;
    void connectOutlets(QWidget& view, NSNibOwner& owner) const;
    void connectActions(QWidget& view, const NSNibOwner& owner) const;

    std::string path;
};
