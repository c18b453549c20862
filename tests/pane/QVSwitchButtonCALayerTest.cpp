#include "pane/QVSwitchButtonCALayer.h"

#include "support/Application.h"

#include <cmath>
#include <gtest/gtest.h>
#include <random>

namespace {

class Announcements : public NSObject {
public:
    void observeValueForKeyPath(const std::string&, NSObject& object, const NSKeyValueChange&,
                                void*) override {
        const auto& layer = dynamic_cast<QVSwitchButtonCALayer&>(object);
        heard += layer.isOn() ? '1' : '0';
    }

    std::string heard;
};

/// Plays a gesture: "p30" presses at x = 30, "d" drags there, "r" releases; "E" and "D" enable and
/// disable, "+" and "-" set on and off.
void play(QVSwitchButtonCALayer& layer, const std::string& gesture) {
    std::size_t at = 0;
    while (at < gesture.size()) {
        const char what = gesture[at++];
        std::size_t used = 0;
        if (what == 'p' || what == 'd') {
            const CGPoint point{std::stod(gesture.substr(at), &used), 10};
            what == 'p' ? layer.mouseDown(point) : layer.mouseDragged(point);
        } else if (what == 'r') {
            layer.mouseUp({});
        } else if (what == 'E' || what == 'D') {
            layer.setEnabled(what == 'E');
        } else if (what == '+' || what == '-') {
            layer.setOn(what == '+');
        }
        at += used;
    }
}

void fill(QVSwitchButtonCALayer& layer, double width) {
    layer.setBounds(CGRectMake(0, 0, width, 20));
    layer.layoutIfNeeded();
}

} // namespace

TEST(QVSwitchButtonCALayer, SettlesByTheRules) {
    struct Case {
        const char* gesture;
        bool on;
        double x;
        const char* announced;
    };
    const Case cases[] = {
        {"p10 r", true, 60, "1"},               // a click on the knob
        {"p10 r p10 r", false, 0, "10"},        // the second one beside it
        {"p80 r", true, 60, "1"},               // a click beside the knob
        {"p80 d10 d90 r", true, 60, "1"},       // whatever the pointer does after it
        {"p10 d13 r", false, 0, "0"},           // a jiggle
        {"p10 d10 r", false, 0, "0"},           // a drag of nothing
        {"p10 d41 r", true, 60, "1"},           // past the middle
        {"p10 d40 r", false, 0, "0"},           // exactly the middle
        {"p10 d500 d499", false, 59, ""},       // overshoot is not counted on the way back
        {"p10 d30 d-50 d-20", false, 30, ""},   // nor at the left end
        {"p40 r", true, 60, "1"},               // the right edge is not part of the knob,
        {"p40 d90", false, 0, ""},              // so it cannot be dragged by it,
        {"p0 d20", false, 20, ""},              // but by its left edge
        {"d50 r", true, 60, "1"},               // a drag without a press is none
        {"+", true, 60, ""},                    // not announced
        {"+ + -", false, 0, ""},                //
        {"D p10 d50 r", false, 0, "0"},         // disabled: announced, not moved
        {"D + r", true, 0, "1"},                // a new value is kept
        {"D + E", true, 60, ""},                // and shown once it may be
        {"p10 d40 D r E d60", false, 50, "0"},  // the gesture outlives being disabled
        {"p10 d40 D r E p95 r", false, 0, "00"} // until the next press
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.gesture);
        testApplication();
        QVSwitchButtonCALayer layer;
        fill(layer, 100);
        const auto observer = std::make_shared<Announcements>();
        layer.addObserver(observer, "on", 0, nullptr);
        play(layer, each.gesture);
        EXPECT_EQ(layer.isOn(), each.on);
        EXPECT_EQ(layer.knobFrame(), CGRectMake(each.x, 0, 40, 20));
        EXPECT_EQ(observer->heard, each.announced);
    }
}

TEST(QVSwitchButtonCALayer, ShowsTheImageOfItsState) {
    testApplication();
    QVSwitchButtonCALayer layer;
    fill(layer, 100);
    const auto shown = [&](const char* gesture) {
        play(layer, gesture);
        return layer.sublayers().front()->contents();
    };
    const auto atRest = shown("");
    const auto pressed = shown("p10");
    const auto disabled = shown("D");
    EXPECT_NE(atRest, pressed);
    EXPECT_NE(atRest, disabled);
    EXPECT_EQ(shown("r"), disabled);
    EXPECT_EQ(shown("p10"), disabled);
    EXPECT_EQ(shown("E"), pressed);
    EXPECT_EQ(shown("r"), atRest);
    EXPECT_EQ(shown("p10"), atRest); // beside the knob, which is at the right end now
    EXPECT_EQ(shown("p80"), pressed);
    layer.setHidden(true);
    play(layer, "d10");
    EXPECT_EQ(layer.knobFrame().origin.x, 60);

    struct Case {
        CGImageRef image;
        double top, bottom;
    };
    for (const Case& each : {Case{atRest, 0.9921, 0.9019}, Case{pressed, 0.8745, 0.9568},
                             Case{disabled, 0.5745, 0.7568}}) {
        EXPECT_EQ(each.image->bitmap().size(), QSize(40, 20));
        EXPECT_EQ(each.image->bitmapInfo(), 8194U);
        EXPECT_EQ(each.image->bitmap().format(), QImage::Format_ARGB32_Premultiplied);
        for (const int scale : {1, 2, 3}) {
            const QImage& image = each.image->rendition(QSize(40, 20) * scale);
            const auto greyAt = [&](int y) { return image.pixelColor(20 * scale, y); };
            const auto grey = [](double white) {
                const int value = static_cast<int>(std::lround(white * 255));
                return QColor(value, value, value);
            };
            EXPECT_EQ(greyAt(0), grey(each.top));
            EXPECT_EQ(greyAt(image.height() - 1), grey(each.bottom));
            EXPECT_EQ(image.pixelColor(0, 0).alpha(), 0); // outside the rounded corner
        }
    }
}

TEST(QVSwitchButtonCALayer, KeepsToItsEndWhenTheTrackChanges) {
    testApplication();
    struct Case {
        const char* gesture;
        double x100, x200, x60;
    };
    for (const Case& each :
         {Case{"", 0, 0, 0}, Case{"+", 60, 160, 20}, Case{"+ D", 60, 160, 20},
          Case{"p10 d40", 30, 30, 20}, Case{"D +", 0, 0, 0}, Case{"p10 d500", 60, 160, 20}}) {
        SCOPED_TRACE(each.gesture);
        QVSwitchButtonCALayer layer;
        fill(layer, 100);
        play(layer, each.gesture);
        EXPECT_EQ(layer.knobFrame().origin.x, each.x100);
        fill(layer, 200);
        EXPECT_EQ(layer.knobFrame().origin.x, each.x200);
        fill(layer, 60);
        EXPECT_EQ(layer.knobFrame().origin.x, each.x60);
    }
}

TEST(QVSwitchButtonCALayer, AMillionRandomOperationsLeaveARestingKnobAtItsEnd) {
    testApplication();
    QVSwitchButtonCALayer layer;
    fill(layer, 100);
    std::mt19937 random(20240607); // NOLINT(bugprone-random-generator-seed): the same every time
    std::uniform_real_distribution<double> anywhere(-20, 120);
    bool idle = true;
    for (int turn = 0; turn < 1'000'000; ++turn) {
        const CGPoint point{std::floor(anywhere(random)), 10};
        const bool value = random() % 2;
        const bool wasOn = layer.isOn();
        switch (random() % 7) {
        case 0:
            layer.mouseDown(point);
            idle = false;
            break;
        case 1:
            layer.mouseUp(point);
            idle = idle || layer.isEnabled();
            break;
        case 2:
            layer.setOn(value);
            idle = idle || (layer.isEnabled() && value != wasOn);
            break;
        case 3:
            layer.setOn(value, random() % 2);
            idle = idle || (layer.isEnabled() && value != wasOn);
            break;
        case 4:
            layer.setEnabled(random() % 4);
            break;
        default:
            layer.mouseDragged(point);
        }
        const CGRect knob = layer.knobFrame();
        ASSERT_TRUE(knob.origin.x >= 0 && knob.origin.x <= 60 && knob.size.width == 40);
        if (idle && layer.isEnabled()) {
            ASSERT_EQ(knob.origin.x, layer.isOn() ? 60 : 0) << "after " << turn << " operations";
        }
    }
}
