#include "pane/QVSwitch.h"

#include "AppKit/NSApplication.h"
#include "AppKit/NSViewRegistry.h"
#include "pane/QVSwitchButtonCALayer.h"
#include "support/Observer.h"
#include "support/TestMachine.h"

#include <gtest/gtest.h>
#include <QApplication>
#include <QMouseEvent>

namespace {

/// A switch of 100 x 30, standing somewhere within a window.
class QVSwitchTest : public MachineTest {
protected:
    QVSwitchTest() {
        view = dynamic_cast<QVSwitch*>(makeView("QVSwitch", &window));
        window.resize(300, 200);
        view->setGeometry(50, 40, 100, 30);
        awakeViews(window);
        view->addObserver(controller, "on",
                          NSKeyValueObservingOptionNew | NSKeyValueObservingOptionOld, nullptr);
        window.show();
        QApplication::processEvents();
    }

    CALayer& container() const { return *view->layer()->sublayers().front(); }
    QVSwitchButtonCALayer& knobLayer() const {
        return dynamic_cast<QVSwitchButtonCALayer&>(*container().sublayers().front());
    }
    double knobX() const { return knobLayer().knobFrame().origin.x; }
    double shownX() const { return knobLayer().sublayers().front()->shownFrame().origin.x; }

    /// A mouse event at a point of the view, y upwards.
    void mouse(QEvent::Type type, double x, double y = 15) {
        const bool mirrored = view->layoutDirection() == Qt::RightToLeft;
        const QPointF point(mirrored ? view->width() - x : x, view->height() - y);
        const bool moves = type == QEvent::MouseMove;
        QMouseEvent event(
            type, point, view->mapToGlobal(point), moves ? Qt::NoButton : Qt::LeftButton,
            type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(view, &event);
    }
    void click(double x, QEvent::Type press = QEvent::MouseButtonPress) {
        mouse(press, x);
        mouse(QEvent::MouseButtonRelease, x);
    }
    /// Whether the switch has taken the key.
    bool key(const QString& text, bool repeated = false) {
        QKeyEvent event(QEvent::KeyPress, 0, Qt::NoModifier, text, repeated);
        return QApplication::sendEvent(view, &event) && event.isAccepted();
    }

    NSApplication& application = NSApplication::sharedApplication(); // before any widget
    QWidget window;
    QVSwitch* view;
    std::string heard, old;
    std::shared_ptr<Observer> controller = std::make_shared<Observer>([this](const auto& change) {
        heard += view->isOn() ? '1' : '0';
        old += *change.oldValue->boolean() ? '1' : '0';
    });
};

} // namespace

TEST_F(QVSwitchTest, FollowsTheMouseAndItsSizeInBothDirections) {
    EXPECT_FALSE(view->isEnabled());
    view->setEnabled(true);
    QImage pictures[2];
    for (const auto direction : {Qt::RightToLeft, Qt::LeftToRight}) {
        view->setLayoutDirection(direction);
        EXPECT_EQ(view->frame(), CGRectMake(50, 130, 100, 30));
        click(20);
        EXPECT_TRUE(view->isOn());
        EXPECT_EQ(knobX(), 60);
        mouse(QEvent::MouseButtonPress, 70);
        mouse(QEvent::MouseMove, 40);
        EXPECT_EQ(knobX(), 30);
        EXPECT_EQ(shownX(), 30);
        mouse(QEvent::MouseButtonRelease, 40);
        EXPECT_EQ(knobX(), 0);
        clock->sleepFor(std::chrono::seconds(1)); // it has glided there
        pictures[direction] = view->grab().toImage();
    }
    EXPECT_EQ(heard, "1010");
    EXPECT_EQ(old, "0101");
    for (const int x : {10, 90}) { // the knob, and the track beside it
        EXPECT_NEAR(pictures[Qt::LeftToRight].pixelColor(x, 15).lightness(),
                    pictures[Qt::RightToLeft].pixelColor(100 - x, 15).lightness(), 3);
    }

    view->setOn(true, false);
    EXPECT_EQ(shownX(), 60);
    view->resize(160, 40);
    EXPECT_EQ(knobLayer().knobFrame(), CGRectMake(120, 0, 40, 40));
    EXPECT_EQ(knobLayer().sublayers().front()->shownFrame(), knobLayer().knobFrame());
}

TEST_F(QVSwitchTest, QuickClicksInOnePlaceCountOnce) {
    click(20);
    click(20, QEvent::MouseButtonDblClick);
    click(20); // the third of a triple click
    EXPECT_EQ(heard, "1");
    click(90); // elsewhere
    click(10);
    EXPECT_EQ(heard, "101");
    clock->sleepFor(std::chrono::seconds(2));
    click(20);
    EXPECT_EQ(heard, "1010");
    click(20);
    mouse(QEvent::MouseButtonDblClick, 70);
    mouse(QEvent::MouseMove, 40); // passed on, and ignored: no press took hold
    EXPECT_EQ(knobX(), 60);
}

TEST_F(QVSwitchTest, TellsOfEverySetOnAndOfEveryReleaseGlidingOrNot) {
    view->setOn(true);
    EXPECT_EQ(knobX(), 60);
    view->setOn(true);
    EXPECT_EQ(heard, "11");
    view->setOn(false, false);
    EXPECT_EQ(shownX(), 0);
    view->setOn(true, true);
    EXPECT_EQ(knobX(), 60);
    clock->sleepFor(std::chrono::milliseconds(100));
    EXPECT_NEAR(shownX(), 60 * 0.68254, 0.001);
    view->setEnabled(false);
    EXPECT_EQ(heard, "11");
    click(80); // a release is told while disabled, too
    EXPECT_EQ(heard, "111");
    EXPECT_EQ(knobX(), 60);
}

TEST_F(QVSwitchTest, TheSpaceBarAloneOfAllOtherKeysAndButtonsPressesTheKnob) {
    EXPECT_TRUE(key(" ") && key(" ", true)); // held down
    EXPECT_FALSE(key("x"));
    for (const auto type :
         {QEvent::MouseButtonPress, QEvent::MouseMove, QEvent::MouseButtonRelease}) {
        QMouseEvent event(type, QPointF(80, 15), view->mapToGlobal(QPointF(80, 15)),
                          Qt::RightButton, Qt::RightButton, Qt::NoModifier);
        QApplication::sendEvent(view, &event);
        EXPECT_FALSE(event.isAccepted());
    }
    EXPECT_EQ(heard, "1");
}

TEST_F(QVSwitchTest, AKeyThatLeadsToItBringsTheRingAndAClickDoesNot) {
    EXPECT_EQ(view->focusPolicy(), Qt::StrongFocus);
    window.activateWindow();
    QApplication::processEvents();
    const auto pictureAfter = [&](Qt::FocusReason reason) {
        view->clearFocus();
        view->setFocus(reason);
        return view->grab().toImage();
    };
    const auto ring = pictureAfter(Qt::TabFocusReason);
    view->clearFocus();
    const auto plain = view->grab().toImage();
    EXPECT_NE(ring, plain);
    EXPECT_EQ(pictureAfter(Qt::MouseFocusReason), plain);
}

TEST_F(QVSwitchTest, DrawsItsTrackSharplyAtEveryScale) {
    container().setHidden(true);
    view->resize(40, 30);
    for (const int scale : {1, 2, 3}) {
        const int rows = 30 * scale; // Qt would paint a hundred on threads of its own
        QImage picture(view->size() * scale, QImage::Format_ARGB32_Premultiplied);
        picture.setDevicePixelRatio(scale);
        picture.fill(Qt::transparent);
        view->render(&picture, {}, {}, QWidget::DrawChildren);
        for (const int row : {scale, rows / 2, rows - 1 - scale}) {
            // Half a point at either end has the end's own colour.
            const double part = (row + 0.5 - scale / 2.0) / (rows - scale);
            EXPECT_NEAR(picture.pixelColor(20 * scale, row).red(),
                        (0.26 + (0.72 - 0.26) * part) * 255, 1);
        }
        EXPECT_EQ(picture.pixelColor(0, 0).alpha(), 0);
        EXPECT_LT(picture.pixelColor(20 * scale, rows - 1).red(), 0.6 * 255) << "no dark edge";
    }
}

TEST_F(QVSwitchTest, ArchivesItsGradient) {
    const auto grey = [](double white) { return NSColor::colorWithCalibratedWhite(white, 1); };
    view->setGradient(std::make_shared<NSGradient>(grey(0.1), grey(0.2)));
    NSCoder changed, empty;
    view->encodeWithCoder(changed);
    QVSwitch copy;
    copy.initWithCoder(changed);
    EXPECT_EQ(copy.gradient()->startingColor(), grey(0.1));
    EXPECT_EQ(copy.gradient()->endingColor(), grey(0.2));
    EXPECT_EQ(copy.size(), view->size());
    copy.initWithCoder(empty);
    EXPECT_EQ(copy.gradient()->endingColor(), grey(0.26));
}
