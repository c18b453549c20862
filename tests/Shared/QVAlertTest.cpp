#include "Shared/QVAlert.h"

#include "AppKit/NSApplication.h"
#include "Foundation/NSRunLoop.h"
#include "Foundation/NSThread.h"
#include "support/TestMachine.h"

#include <QPushButton>

namespace {

class QVAlertTest : public MachineTest {
protected:
    QVAlertTest() { NSApplication::sharedApplication(); }

    /// Clicks a button of the front sheet so many seconds from now, as a user would meanwhile.
    static void answerAfter(double seconds, const std::string& title) {
        NSThread::detachNewThread([=] {
            NSThread::sleepForTimeInterval(seconds);
            performOnMainThread([&] { press(title); }, true);
        });
    }
    static void press(const std::string& title) {
        ASSERT_FALSE(NSAlert::shownAlerts().empty());
        QPushButton* button = NSAlert::shownAlerts().back()->buttonWithTitle(title);
        ASSERT_TRUE(button) << title;
        button->click();
    }
};

class OtherDelegate : public QVAlertDelegate {
public:
    NSAlert::EndMethod alertEndMethod(const std::string& selector) override {
        return selector != "ended:" ? nullptr
                                    : NSAlert::EndMethod([this](NSAlert&, int code, void*) {
                                          answers.push_back(code);
                                      });
    }
    std::vector<int> answers;
};

} // namespace

TEST_F(QVAlertTest, WaitsOnTheMainThreadForEachButtonAndShowsTextsAsTheyAre) {
    const std::pair<const char*, long> buttons[] = {{"OK", 1}, {"Can&cel", 0}, {"<Other>", -1}};
    for (const auto& [title, code] : buttons) {
        const double before = clock->seconds();
        performOnMainThread(
            [] {
                EXPECT_EQ(NSAlert::shownAlerts().back()->messageText(), "<i>100%</i> %@");
                EXPECT_EQ(NSAlert::shownAlerts().back()->informativeText(), "%d & more");
            },
            false);
        answerAfter(3, title);
        EXPECT_EQ(
            QVAlert::alertSheetWithMessageText("<i>100%</i> %@", {.alternateButton = "Can&cel",
                                                                  .otherButton = "<Other>",
                                                                  .informativeText = "%d & more",
                                                                  .block = true}),
            code);
        EXPECT_NEAR(clock->seconds() - before, 3, 0.1);
        EXPECT_TRUE(NSAlert::shownAlerts().empty());
    }
}

TEST_F(QVAlertTest, ABackgroundThreadHearsOfTheAnswerWithinASecond) {
    std::optional<double> resumed;
    NSThread::detachNewThread([&] {
        QVAlert::alertSheetWithMessageText(std::nullopt, std::nullopt, nullptr);
        performOnMainThread([&] { resumed = clock->seconds(); }, false);
    });
    answerAfter(2.5, "OK");
    NSRunLoop::mainRunLoop().runUntil([&] { return resumed.has_value(); });
    EXPECT_GE(*resumed, 2.5);
    EXPECT_LE(*resumed, 3.5);
}

TEST_F(QVAlertTest, ATimeOutAnswersTheDefaultAndAnEarlierPressCounts) {
    const struct {
        int interval;
        double pressed, over; // seconds
        long answer;
    } cases[] = {{0, 9, 0, 1}, {5, 9, 5, 1}, {5, 2, 2, 0}};
    for (const auto& each : cases) {
        const double before = clock->seconds();
        if (each.pressed < each.interval) {
            answerAfter(each.pressed, "Cancel");
        }
        EXPECT_EQ(QVAlert::timedAlertSheetWithMessageText(
                      "Delete?", {.alternateButton = "Cancel", .interval = each.interval}),
                  each.answer);
        EXPECT_NEAR(clock->seconds() - before, each.over, 0.1);
        EXPECT_TRUE(NSAlert::shownAlerts().empty());
    }
    NSThread::sleepForTimeInterval(10); // the timer still writes, to nobody
}

TEST_F(QVAlertTest, WithoutWaitingTheSheetTellsItsDelegate) {
    const auto delegate = std::make_shared<OtherDelegate>();
    const auto object = std::make_shared<QVAlert>();
    object->setAlertEnded(true); // of an earlier sheet
    QVAlert::Sheet sheet{.alternateButton = "No", .delegate = delegate};
    sheet.didEndSelector = "ended:";
    sheet.alertObject = object;
    EXPECT_EQ(QVAlert::alertSheetWithMessageText("Go on?", sheet), -1);
    EXPECT_FALSE(object->alertEnded());
    press("No");
    EXPECT_EQ(delegate->answers, std::vector<int>{0});

    // Nobody but the sheet holds this one.
    EXPECT_EQ(QVAlert::alertSheetWithMessageText("Go on?", QVAlert::Sheet{}), -1);
    press("OK");
    EXPECT_TRUE(NSAlert::shownAlerts().empty());
}

TEST_F(QVAlertTest, AMissingEndMethodShowsNothing) {
    const auto delegate = std::make_shared<OtherDelegate>();
    EXPECT_EQ(QVAlert::alertSheetWithMessageText("?", {.delegate = delegate, .block = true}), -1);
    EXPECT_EQ(QVAlert::alertSheetWithMessageText("?", {.didEndSelector = "ended:", .block = true}),
              -1);
    EXPECT_TRUE(NSAlert::shownAlerts().empty());
    ASSERT_EQ(machine->consoleLines().size(), 2U);
    const std::string text = "Alert error: delegate does not respond to selector ";
    EXPECT_TRUE(machine->consoleLines()[0].ends_with(text + "alertDidEnd:returnCode:contextInfo:"));
    EXPECT_TRUE(machine->consoleLines()[1].ends_with(text + "ended:"));
}
