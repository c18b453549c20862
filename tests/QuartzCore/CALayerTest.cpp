#include "QuartzCore/CALayer.h"

#include "AppKit/NSApplication.h"
#include "AppKit/NSView.h"
#include "QuartzCore/CATransaction.h"
#include "support/TestMachine.h"

#include <gtest/gtest.h>
#include <QApplication>

namespace {

class CountingView : public NSView {
public:
    int paints = 0;

protected:
    void paintEvent(QPaintEvent* event) override {
        ++paints;
        NSView::paintEvent(event);
    }
};

/// A view of 100 x 50 on the screen, with one layer in it.
class CALayerTest : public MachineTest {
protected:
    CALayerTest() {
        NSApplication::sharedApplication();
        view = std::make_unique<CountingView>();
        view->resize(100, 50);
        view->setWantsLayer(true);
        view->layer()->addSublayer(layer);
        layer->setFrame(CGRectMake(0, 0, 40, 20));
        view->show();
        QApplication::processEvents();
    }

    void pass(double seconds) { clock->sleepFor(durationOfSeconds(seconds)); }
    double shownX() const { return layer->shownFrame().origin.x; }

    std::shared_ptr<CALayer> layer = CALayer::layer();
    std::unique_ptr<CountingView> view;
};

} // namespace

TEST_F(CALayerTest, GlidesAlongTheDefaultCurveAndTurnsBackFromWhereItIsSeen) {
    layer->setFrame(CGRectMake(100, 0, 40, 20));
    EXPECT_EQ(layer->frame(), CGRectMake(100, 0, 40, 20));
    // The curve through (0.25, 0.1) and (0.25, 1), read off at fifths of its time.
    for (const double part : {0.0, 0.2952, 0.6825, 0.8852, 0.9756}) {
        EXPECT_NEAR(shownX(), 100 * part, 0.05);
        EXPECT_TRUE(view->layer()->isMoving());
        pass(0.05);
    }
    EXPECT_EQ(shownX(), 100);
    EXPECT_FALSE(view->layer()->isMoving());

    layer->setPosition({20, 10});
    pass(0.1);
    const double seen = shownX();
    layer->setPosition({120, 10});
    EXPECT_DOUBLE_EQ(shownX(), seen);
    pass(0.25);
    EXPECT_EQ(shownX(), 100);

    const auto unseen = CALayer::layer();
    view->layer()->addSublayer(unseen);
    unseen->setFrame(CGRectMake(30, 0, 10, 10));
    EXPECT_FALSE(unseen->isMoving()); // nobody has seen it elsewhere
}

TEST_F(CALayerTest, TransactionsNestAndZeroDurationMovesBoth) {
    CATransaction::begin();
    CATransaction::setValueForKey(1.0, kCATransactionAnimationDuration);
    CATransaction::setValueForKey(2.0, "another key");
    CATransaction::begin();
    EXPECT_EQ(CATransaction::animationDuration(), 1.0);
    CATransaction::setValueForKey(0.0, kCATransactionAnimationDuration);
    layer->setPosition({70, 10});
    EXPECT_EQ(shownX(), 50);
    CATransaction::commit();
    layer->setPosition({120, 10});
    CATransaction::commit();
    CATransaction::commit(); // one too many
    EXPECT_EQ(CATransaction::animationDuration(), 0.25);
    pass(0.9);
    EXPECT_LT(shownX(), 100);

    CATransaction::begin(); // stops a glide, even to where it was going
    CATransaction::setValueForKey(0.0, kCATransactionAnimationDuration);
    layer->setPosition({120, 10});
    EXPECT_EQ(shownX(), 100);
    CATransaction::commit();
}

TEST_F(CALayerTest, FramesCountUpwardsAndPaintsStopWithTheMovement) {
    layer->setBorderWidth(20); // all black
    layer->setPosition({80, 10});
    QApplication::processEvents();
    const int first = view->paints;
    pass(0.3);
    QApplication::processEvents(QEventLoop::WaitForMoreEvents); // the last frame's timer
    QApplication::processEvents();
    const int before = view->paints;
    EXPECT_GT(before, first);
    usleep(50'000); // three frames
    QApplication::processEvents();
    EXPECT_EQ(view->paints, before);

    const QImage picture = view->grab().toImage();
    const auto isBlack = [&](int x, int y) { return picture.pixelColor(x, y) == Qt::black; };
    EXPECT_TRUE(isBlack(80, 48));
    EXPECT_FALSE(isBlack(80, 20));
    EXPECT_FALSE(isBlack(55, 48));
}

TEST(CALayer, IsLaidOutByConstraintsAndByMask) {
    struct Case {
        std::vector<CAConstraintAttribute> attributes;
        unsigned mask;
        CGRect expected;
    };
    // The layer starts at (5, 5, 10, 10) in one whose bounds grow by 30 and 20 to (0, 0, 100, 60).
    const Case cases[] = {
        {{}, 0, {{5, 5}, {10, 10}}},
        {{}, 2, {{5, 5}, {40, 10}}},
        {{}, 18, {{5, 5}, {40, 30}}},
        {{kCAConstraintMinX, kCAConstraintWidth}, 0, {{0, 5}, {100, 10}}},
        {{kCAConstraintMinY, kCAConstraintHeight}, 0, {{5, 0}, {10, 60}}},
    };
    for (const Case& each : cases) {
        const auto around = CALayer::layer();
        const auto layer = CALayer::layer();
        around->setBounds(CGRectMake(0, 0, 70, 40));
        around->setLayoutManager(CAConstraintLayoutManager::layoutManager());
        around->addSublayer(layer);
        layer->setFrame(CGRectMake(5, 5, 10, 10));
        layer->setAutoresizingMask(each.mask);
        for (const auto attribute : each.attributes) {
            layer->addConstraint(
                CAConstraint::constraintWithAttribute(attribute, "superlayer", attribute));
        }
        layer->addConstraint(
            CAConstraint::constraintWithAttribute(kCAConstraintMinX, "other", kCAConstraintWidth));
        around->setBounds(CGRectMake(0, 0, 100, 60));
        around->layoutIfNeeded();
        EXPECT_EQ(layer->frame(), each.expected);
    }
}
