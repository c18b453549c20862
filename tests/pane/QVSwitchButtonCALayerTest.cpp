#include "pane/QVSwitchButtonCALayer.h"

#include "AppKit/NSApplication.h"
#include "pane/QVSwitch.h"
#include "support/Observer.h"

#include <cmath>
#include <gtest/gtest.h>
#include <sstream>

namespace {

/// Plays a gesture: "p30" presses at x = 30, "d50" drags there, "r" releases; "E" and "D" enable
/// and disable, "+" and "-" set on and off.
void play(QVSwitchButtonCALayer& layer, const std::string& gesture) {
    std::istringstream steps(gesture);
    for (std::string step; steps >> step;) {
        const CGPoint point{std::atof(step.c_str() + 1), 10};
        switch (step.front()) {
        case 'p':
            layer.mouseDown(point);
            break;
        case 'd':
            layer.mouseDragged(point);
            break;
        case 'r':
            layer.mouseUp(point);
            break;
        case 'E':
        case 'D':
            layer.setEnabled(step.front() == 'E');
            break;
        default:
            layer.setOn(step.front() == '+');
        }
    }
}

void fill(QVSwitchButtonCALayer& layer, double width) {
    layer.setBounds(CGRectMake(0, 0, width, 20));
    layer.layoutIfNeeded();
}

} // namespace

TEST(QVSwitchButtonCALayer, SettlesByTheRulesAndKeepsToItsEndWhenTheTrackChanges) {
    struct Case {
        const char* gesture;
        bool on;
        double x;
        const char* announced;
    };
    const Case cases[] = {
        {"p10 r", true, 60, "1"},                 // a click on the knob
        {"p10 r p10 r", false, 0, "10"},          // the second one beside it
        {"p80 r", true, 60, "1"},                 // a click beside the knob
        {"p80 d10 d90 r", true, 60, "1"},         // whatever the pointer does after it
        {"p10 d13 r", false, 0, "0"},             // a jiggle
        {"p10 d10 r", false, 0, "0"},             // a drag of nothing
        {"p10 d41 r", true, 60, "1"},             // past the middle
        {"p10 d40 r", false, 0, "0"},             // exactly the middle
        {"p10 d500 d499", false, 59, ""},         // overshoot is not counted on the way back
        {"p10 d30 d-50 d-20", false, 30, ""},     // nor at the left end
        {"p10 d-50 d-20", false, 0, ""},          // as if it had not been there
        {"p10 d70 d90 d80", false, 60, ""},       //
        {"p40 r", true, 60, "1"},                 // the right edge is not part of the knob,
        {"p40 d90", false, 0, ""},                // so it cannot be dragged by it,
        {"p0 d20", false, 20, ""},                // but by its left edge
        {"d50 r", true, 60, "1"},                 // a drag without a press is none
        {"+", true, 60, ""},                      // not announced
        {"+ + -", false, 0, ""},                  //
        {"D p10 d50 r", false, 0, "0"},           // disabled: announced, not moved
        {"D + r", true, 0, "1"},                  // a new value is kept
        {"D + E", true, 60, ""},                  // and shown once it may be
        {"p10 d40 D r E", false, 0, "0"},         // let go in the middle while disabled
        {"p10 d40 D r E p95 r", true, 60, "01"},  // and then pressed as ever
        {"D p10 d14 r E + -", false, 0, "0"},     // a gesture while disabled leaves nothing behind
        {"p10 d50 + r", true, 60, "1"},           // what the program sets wins
        {"p10 d50 + d10 r p80 r", false, 0, "10"} // until the next press
    };
    NSApplication::sharedApplication();
    for (const Case& each : cases) {
        SCOPED_TRACE(each.gesture);
        QVSwitchButtonCALayer layer;
        fill(layer, 100);
        std::string heard;
        const auto observer =
            std::make_shared<Observer>([&](const auto&) { heard += layer.isOn() ? '1' : '0'; });
        layer.addObserver(observer, "on", 0, nullptr);
        play(layer, each.gesture);
        EXPECT_EQ(layer.isOn(), each.on);
        EXPECT_EQ(layer.knobFrame(), CGRectMake(each.x, 0, 40, 20));
        EXPECT_EQ(heard, each.announced);
        fill(layer, 200);
        EXPECT_EQ(layer.knobFrame().origin.x, each.x == 60 ? 160 : each.x);
        fill(layer, 60);
        EXPECT_EQ(layer.knobFrame().origin.x, std::min(each.x, 20.0));
    }
}

TEST(QVSwitchButtonCALayer, ShowsTheImageOfItsState) {
    NSApplication::sharedApplication();
    QVSwitchButtonCALayer layer;
    fill(layer, 100);
    const auto shown = [&](const char* gesture) {
        play(layer, gesture);
        return layer.sublayers().front()->contents();
    };
    const auto atRest = shown("");
    const auto pressed = shown("p10");
    const auto disabled = shown("D");
    EXPECT_EQ(shown("r"), disabled);
    EXPECT_EQ(shown("p10"), disabled);
    EXPECT_EQ(shown("E"), pressed);
    EXPECT_EQ(shown("r"), atRest);
    EXPECT_EQ(shown("p10"), atRest); // beside the knob, which is at the right end now
    layer.setHidden(true);
    EXPECT_EQ(shown("p80 d10"), pressed);
    EXPECT_EQ(layer.knobFrame().origin.x, 60);

    const std::tuple<CGImageRef, double, double> images[] = {
        {atRest, 0.9921, 0.9019}, {pressed, 0.8745, 0.9568}, {disabled, 0.5745, 0.7568}};
    for (const auto& [image, top, bottom] : images) {
        for (const int scale : {1, 3}) {
            const QImage& drawn = image->rendition(QSize(40, 20) * scale);
            EXPECT_EQ(drawn.pixelColor(20 * scale, 0).red(), std::lround(top * 255));
            EXPECT_EQ(drawn.pixelColor(20 * scale, 20 * scale - 1).red(),
                      std::lround(bottom * 255));
            EXPECT_EQ(drawn.pixelColor(0, 0).alpha(), 0); // outside the rounded corner
        }
    }
}
