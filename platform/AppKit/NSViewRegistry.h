// Makes the views of a layout file by their class names. A plug-in registers its classes when it is
// loaded; the loader of layout files asks for them.
#pragma once

#include "System/Registry.h"

#include <string>

class QWidget;

using NSViewMaker = QWidget*(QWidget* parent);

/// Those that have been registered, by their names.
Registry<NSViewMaker>& viewClasses() noexcept;
/// A new view, owned by `parent`; null for a name that nobody registered.
QWidget* makeView(const std::string& name, QWidget* parent);

/// Ends the loading of a layout file: wakes each NSView among `root` and what it holds with
/// awakeFromNib.
void awakeViews(QWidget& root);

/// One of these at file level registers a class of views.
template <class View>
struct NSViewClass : Registry<NSViewMaker>::Entry {
    explicit NSViewClass(const char* name)
        : Entry(viewClasses(), name, [](QWidget* parent) -> QWidget* { return new View(parent); }) {
    }
};
