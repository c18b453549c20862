// Where drawing goes. Drawing operations without a current context do nothing. Main thread only.
#pragma once

#include "QuartzCore/CGImage.h"

#include <memory>

class QPainter;

class NSGraphicsContext {
public:
    /// Draws with a painter that someone else owns, and that outlives this context.
    explicit NSGraphicsContext(QPainter& painter);
    ~NSGraphicsContext();
    NSGraphicsContext(const NSGraphicsContext&) = delete;
    NSGraphicsContext& operator=(const NSGraphicsContext&) = delete;

    /// A context that draws into a bitmap, which has it all once this context is gone. y grows
    /// upwards unless `flipped`.
    static std::shared_ptr<NSGraphicsContext> graphicsContextWithGraphicsPort(CGContextRef port,
                                                                              bool flipped);

    /// Null when there is none.
    static const std::shared_ptr<NSGraphicsContext>& currentContext();
    static void setCurrentContext(std::shared_ptr<NSGraphicsContext> context);
    /// Remembers the current context, with its settings, until the matching restoreGraphicsState.
    static void saveGraphicsState();
    static void restoreGraphicsState();

    QPainter& painter() const { return *drawing; }

private:
    explicit NSGraphicsContext(CGContextRef port);

    CGContextRef port;
    std::unique_ptr<QPainter> owned;
    QPainter* drawing;
};

/// Makes a context the current one for as long as it lives.
class NSGraphicsContextScope {
public:
    explicit NSGraphicsContextScope(std::shared_ptr<NSGraphicsContext> context);
    ~NSGraphicsContextScope();
    NSGraphicsContextScope(const NSGraphicsContextScope&) = delete;
    NSGraphicsContextScope& operator=(const NSGraphicsContextScope&) = delete;
};
