// How long one step of a drag takes on a large switch, from the mouse event to the finished
// picture, beside a bare drawing of the same shapes. Prints the medians in microseconds.
#include "pane/QVSwitch.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <QApplication>
#include <QImage>
#include <QLinearGradient>
#include <QMouseEvent>
#include <QPainter>
#include <vector>

namespace {

constexpr int width = 400;
constexpr int height = 200;
constexpr int knobWidth = 40;
constexpr int steps = 4000;

/// Where the pointer is after a number of steps: to and fro along the track.
int pointerAt(int step) {
    constexpr int reach = width - knobWidth;
    const int way = step % (2 * reach);
    return 10 + (way < reach ? way : 2 * reach - way);
}

double microsecondsOf(const std::function<void()>& work) {
    const auto before = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - before)
        .count();
}

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
}

void send(QWidget& view, QEvent::Type type, int x) {
    const QPointF point(x, height / 2.0);
    QMouseEvent event(type, point, view.mapToGlobal(point),
                      type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton,
                      type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton,
                      Qt::NoModifier);
    QApplication::sendEvent(&view, &event);
}

void drawShape(QPainter& painter, const QRectF& rect, double bottom, double top, const QPen& pen) {
    QLinearGradient blend(rect.bottomLeft(), rect.topLeft());
    blend.setColorAt(0, QColor::fromRgbF(float(bottom), float(bottom), float(bottom)));
    blend.setColorAt(1, QColor::fromRgbF(float(top), float(top), float(top)));
    painter.setBrush(blend);
    painter.setPen(pen);
    painter.drawRoundedRect(rect, 5, 5);
}

void drawBare(QImage& picture, int step) {
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    drawShape(painter, QRectF(0, 0, width, height), 0.72, 0.26, QColor(69, 69, 69));
    drawShape(painter, QRectF(pointerAt(step) - 10, 0, knobWidth, height), 0.9568, 0.8745,
              QPen(Qt::black, 0.5));
}

} // namespace

int main(int count, char** arguments) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(count, arguments);
    QVSwitch view;
    view.resize(width, height);
    view.awakeFromNib();
    view.setEnabled(true);
    view.show();
    QApplication::processEvents();
    send(view, QEvent::MouseButtonPress, 10);
    QImage picture(width, height, QImage::Format_RGB32);
    std::vector<double> dragTimes, bareTimes;
    for (int step = 1; step <= steps; ++step) {
        dragTimes.push_back(microsecondsOf([&] {
            send(view, QEvent::MouseMove, pointerAt(step));
            QApplication::sendPostedEvents(); // paints what has changed
        }));
        bareTimes.push_back(microsecondsOf([&] { drawBare(picture, step); }));
    }
    const double step = median(dragTimes), bare = median(bareTimes);
    std::printf("drag step, event to picture, %dx%d   %8.1f us\n", width, height, step);
    std::printf("bare drawing of the same shapes       %8.1f us\n", bare);
    std::printf("ratio                                 %8.2f\n", step / bare);
    return step < 1000 && step <= 1.5 * bare ? 0 : 1;
}
