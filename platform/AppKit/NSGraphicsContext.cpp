#include "AppKit/NSGraphicsContext.h"

#include <QPainter>
#include <vector>

namespace {

using Context = std::shared_ptr<NSGraphicsContext>;

struct State {
    Context current;
    std::vector<Context> saved;
};

State& state() {
    static State contexts;
    return contexts;
}

} // namespace

NSGraphicsContext::NSGraphicsContext(QPainter& painter) : drawing(&painter) {}

NSGraphicsContext::NSGraphicsContext(CGContextRef target)
    : port(std::move(target)), owned(std::make_unique<QPainter>(&port->drawing)),
      drawing(owned.get()) {}

NSGraphicsContext::~NSGraphicsContext() = default;

Context NSGraphicsContext::graphicsContextWithGraphicsPort(CGContextRef port, bool flipped) {
    const double height = port->size.height();
    Context context(new NSGraphicsContext(std::move(port)));
    if (!flipped) {
        context->painter().translate(0, height);
        context->painter().scale(1, -1);
    }
    return context;
}

const Context& NSGraphicsContext::currentContext() { return state().current; }

void NSGraphicsContext::setCurrentContext(Context context) { state().current = std::move(context); }

void NSGraphicsContext::saveGraphicsState() {
    if (state().current) {
        state().current->painter().save();
    }
    state().saved.push_back(state().current);
}

void NSGraphicsContext::restoreGraphicsState() {
    if (state().saved.empty()) {
        return;
    }
    state().current = std::move(state().saved.back());
    state().saved.pop_back();
    if (state().current) {
        state().current->painter().restore();
    }
}

NSGraphicsContextScope::NSGraphicsContextScope(Context context) {
    NSGraphicsContext::saveGraphicsState();
    NSGraphicsContext::setCurrentContext(std::move(context));
}

NSGraphicsContextScope::~NSGraphicsContextScope() { NSGraphicsContext::restoreGraphicsState(); }
