#include "AppKit/NSViewRegistry.h"

#include "AppKit/NSView.h"

#include <vector>

namespace {

std::vector<NSView*> viewsIn(QWidget& root) {
    std::vector<NSView*> views;
    if (auto* view = dynamic_cast<NSView*>(&root)) {
        views.push_back(view);
    }
    for (QWidget* child : root.findChildren<QWidget*>()) {
        if (auto* view = dynamic_cast<NSView*>(child)) {
            views.push_back(view);
        }
    }
    return views;
}

} // namespace

Registry<NSViewMaker>& viewClasses() noexcept {
    static constinit Registry<NSViewMaker> classes;
    return classes;
}

QWidget* makeView(const std::string& name, QWidget* parent) {
    NSViewMaker* const maker = viewClasses().find(name);
    return maker ? maker(parent) : nullptr;
}

void awakeViews(QWidget& root) {
    for (NSView* view : viewsIn(root)) {
        view->awakeFromNib();
    }
}
