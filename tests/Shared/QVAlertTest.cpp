#include "Shared/QVAlert.h"

#include "AppKit/NSApplication.h"
#include "Foundation/NSException.h"
#include "Foundation/NSRunLoop.h"
#include "Foundation/NSThread.h"
#include "Foundation/NSTimer.h"
#include "support/TestMachine.h"

#include <QLabel>
#include <QPushButton>

namespace {

class QVAlertTest : public MachineTest {
protected:
    QVAlertTest() { NSApplication::sharedApplication(); }
    ~QVAlertTest() override { EXPECT_TRUE(NSAlert::shownAlerts().empty()); }

    /// Clicks a button of the front sheet so many seconds from now, as a user would meanwhile.
    void answerAfter(double seconds, const std::string& title) {
        NSThread::detachNewThread([=, this] {
            NSThread::sleepForTimeInterval(seconds);
            performOnMainThread([&] { press(title); }, true);
        });
    }
    void press(const std::string& title) {
        const auto* alert = NSAlert::shownAlerts().at(0);
        seen = alert->messageText() + " / " + alert->informativeText();
        auto* button = alert->buttonWithTitle(title);
        const auto* box = button->window();
        EXPECT_EQ(box->windowModality() == Qt::WindowModal, box->parent() != nullptr);
        EXPECT_TRUE(button->shortcut().isEmpty()) << "no letter is meant as one";
        for (const auto* label : box->findChildren<QLabel*>()) {
            EXPECT_EQ(label->textFormat(), Qt::PlainText);
        }
        button->click();
    }

    std::string seen;
};

class OtherDelegate : public QVAlertDelegate {
public:
    NSAlert::EndMethod alertEndMethod(const std::string& selector) override {
        const auto note = [this](NSAlert&, int code, void*) {
            answers.push_back(code);
            throw NSException("N", "what it raises goes no further");
        };
        return selector == "ended:" ? NSAlert::EndMethod(note) : nullptr;
    }
    std::vector<int> answers;
};

} // namespace

TEST_F(QVAlertTest, WaitsOnTheMainThreadForEachButtonOrTheTimeOut) {
    int polls = 0;
    const auto poll = NSTimer::scheduledTimer(
        1, clock, [&] { ++polls; }, true);
    const struct {
        const char* button;
        double pressed, over; // seconds
        std::optional<int> interval;
        long answer;
    } cases[] = {{"OK", 3, 3, {}, 1},     {"Can&cel", 3, 3, {}, 0}, {"<Other>", 3, 3, {}, -1},
                 {"Can&cel", 2, 2, 5, 0}, {"", 0, 5, 5, 1},         {"", 0, 0, 0, 1}};
    for (const auto& [button, pressed, over, interval, answer] : cases) {
        const double before = clock->seconds();
        if (pressed > 0) {
            answerAfter(pressed, button);
        }
        const QVAlert::Text text = "<i>100%</i> %@", more = "%d", no = "Can&cel";
        EXPECT_EQ(interval ? QVAlert::timedAlertSheetWithMessageText(
                                 text, {{}, no, {}, more, {}, *interval})
                           : QVAlert::alertSheetWithMessageText(
                                 text, {{}, no, "<Other>", more, {}, {}, {}, true}),
                  answer);
        EXPECT_NEAR(clock->seconds() - before, over, 0.1);
        EXPECT_EQ(seen, "<i>100%</i> %@ / %d");
        EXPECT_EQ(polls, 0) << "a sheet holds up the timers of the default mode";
    }
    NSRunLoop::mainRunLoop().runUntil([&] { return polls > 1; });
    poll->invalidate();
}

TEST_F(QVAlertTest, ABackgroundThreadHearsOfTheAnswerWithinASecond) {
    for (const bool windowGoes : {false, true}) {
        QWidget content;
        auto window = std::make_unique<NSWindow>("", &content);
        const double start = clock->seconds();
        std::optional<long> answer;
        NSThread::detachNewThread([&] {
            const long given = QVAlert::timedAlertSheetWithMessageText(
                "", {{}, "No", {}, {}, window.get(), windowGoes ? 100 : 3});
            performOnMainThread([&answer, given] { answer = given; }, false);
        });
        NSThread::sleepForTimeInterval(0.75); // so it looks at 2.75 and 3.75
        if (windowGoes) {
            NSTimer::scheduledTimer(
                2, clock, [&] { window.reset(); }, false);
        } else {
            answerAfter(2.05, "No"); // just before the time-out
        }
        NSRunLoop::mainRunLoop().runUntil([&] { return answer.has_value(); });
        EXPECT_EQ(answer, 0);
        EXPECT_NE(content.isVisible(), windowGoes) << "the window comes up with its sheet";
        EXPECT_NEAR(clock->seconds() - start, windowGoes ? 2.75 : 3.75, 0.1);
    }
}

TEST_F(QVAlertTest, WithoutWaitingTheSheetTellsADelegateThatCanBeTold) {
    const auto delegate = std::make_shared<OtherDelegate>();
    const auto object = std::make_shared<QVAlert>();
    object->setAlertEnded(true); // of an earlier sheet
    QVAlert::Sheet sheet{.alternateButton = "No", .delegate = delegate, .alertObject = object};
    const auto ask = [&] { EXPECT_EQ(QVAlert::alertSheetWithMessageText("Go on?", sheet), -1); };
    ask();
    EXPECT_TRUE(NSAlert::shownAlerts().empty());
    sheet.didEndSelector = "ended:";
    ask();
    EXPECT_FALSE(object->alertEnded());
    press("No");
    EXPECT_EQ(delegate->answers, std::vector<int>{0});
    sheet.delegate = {};
    ask();
    sheet = {}; // nobody but the sheet holds this one
    ask();
    press("OK");
    const std::string text = "Alert error: delegate does not respond to selector ";
    EXPECT_EQ(machine->consoleLines(),
              (std::vector<std::string>{text + "alertDidEnd:returnCode:contextInfo:",
                                        "Uncaught exception: N - what it raises goes no further",
                                        text + "ended:"}));
}
