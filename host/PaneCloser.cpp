#include "host/PaneCloser.h"

#include <chrono>

namespace {
constexpr std::chrono::seconds longestWait(60);
}

PaneCloser::PaneCloser(NSPreferencePane& pane, NSWindow& window,
                       std::function<void(int status)> finish)
    : pane(pane), window(window), finish(std::move(finish)) {
    limit.setSingleShot(true);
    QObject::connect(&limit, &QTimer::timeout, &limit, [this] { this->finish(status); });
}

void PaneCloser::close(int newStatus) {
    status = newStatus;
    const auto answer = limit.isActive() ? NSUnselectNow : pane.shouldUnselect();
    if (answer == NSUnselectNow) {
        finish(status);
    } else if (answer == NSUnselectLater) {
        waitForReply();
    } else {
        comeBack();
    }
}

void PaneCloser::comeBack() {
    limit.stop();
    pane.setUnselectReply(nullptr);
    window.makeKeyAndOrderFront();
}

void PaneCloser::waitForReply() {
    limit.start(longestWait);
    pane.setUnselectReply([this](bool leaves) {
        limit.stop();
        if (leaves) {
            finish(status);
        } else {
            comeBack();
        }
    });
    window.orderOut();
}
