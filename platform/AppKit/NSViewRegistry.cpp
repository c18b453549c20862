#include "AppKit/NSViewRegistry.h"

#include "AppKit/NSView.h"

#include <map>
#include <vector>

namespace {

std::map<std::string, NSViewMaker>& makers() {
    static std::map<std::string, NSViewMaker> registry;
    return registry;
}

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

void registerViewClass(const std::string& name, NSViewMaker maker) {
    makers()[name] = std::move(maker);
}

QWidget* makeView(const std::string& name, QWidget* parent) {
    const auto found = makers().find(name);
    return found == makers().end() ? nullptr : found->second(parent);
}

void awakeViews(QWidget& root) {
    for (NSView* view : viewsIn(root)) {
        view->awakeFromNib();
    }
}
