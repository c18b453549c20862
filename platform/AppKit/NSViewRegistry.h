// Makes the views of a layout file by their class names. A plug-in registers its classes when it is
// loaded; the loader of layout files asks for them.
#pragma once

#include <functional>
#include <memory>
#include <string>

class QWidget;

using NSViewMaker = std::function<QWidget*(QWidget* parent)>;

/// Replaces an earlier maker of the same name.
void registerViewClass(const std::string& name, NSViewMaker maker);
/// A new view, owned by `parent`; null for a name that nobody registered.
QWidget* makeView(const std::string& name, QWidget* parent);

/// Ends the loading of a layout file: wakes each NSView among `root` and what it holds with
/// awakeFromNib.
void awakeViews(QWidget& root);

/// One of these at file level registers a class of views for as long as the program runs.
template <class View>
struct NSViewClass {
    explicit NSViewClass(const std::string& name) {
        registerViewClass(name, [](QWidget* parent) -> QWidget* { return new View(parent); });
    }
};
