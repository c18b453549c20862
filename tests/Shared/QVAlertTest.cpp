#include "Shared/QVAlert.h"

#include "AppKit/NSApplication.h"
#include "Foundation/NSRunLoop.h"
#include "Foundation/NSThread.h"
#include "Foundation/NSTimer.h"
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
    static long timed(int interval) {
        return QVAlert::timedAlertSheetWithMessageText(
            "Delete?", {.alternateButton = "Cancel", .otherButton = "Keep", .interval = interval});
    }
};

class OtherDelegate : public QVAlertDelegate {
public:
    NSAlert::EndMethod alertEndMethod(const std::string& selector) override {
        if (selector != "ended:") {
            return nullptr;
        }
        return [this](NSAlert&, int returnCode, void*) { answers.push_back(returnCode); };
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
    bool over = false;
    NSThread::detachNewThread([&] {
        QVAlert::alertSheetWithMessageText(std::nullopt, std::nullopt, nullptr);
        resumed = clock->seconds();
        performOnMainThread([&] { over = true; }, false);
    });
    answerAfter(2.5, "OK");
    NSRunLoop::mainRunLoop().runUntil([&] { return over; });
    ASSERT_TRUE(resumed);
    EXPECT_GE(*resumed, 2.5);
    EXPECT_LE(*resumed, 3.5);
}

TEST_F(QVAlertTest, TimersOfTheDefaultModeWaitForTheSheet) {
    double fired = 0;
    const auto life = std::make_shared<int>();
    const auto timer = NSTimer::scheduledTimer(
        1, life, [&] { fired = clock->seconds(); }, false);
    answerAfter(5, "OK");
    QVAlert::alertSheetWithMessageText("Wait", std::nullopt, nullptr);
    EXPECT_EQ(fired, 0);
    NSRunLoop::mainRunLoop().runUntil([&] { return fired > 0; });
    EXPECT_GE(fired, 5);
}

TEST_F(QVAlertTest, ATimeOutAnswersTheDefaultAndAnEarlierPressCounts) {
    for (const int interval : {0, 5}) {
        const double before = clock->seconds();
        EXPECT_EQ(timed(interval), 1);
        EXPECT_NEAR(clock->seconds() - before, interval, 0.1);
        EXPECT_TRUE(NSAlert::shownAlerts().empty());
    }
    const double before = clock->seconds();
    answerAfter(2, "Cancel");
    EXPECT_EQ(timed(5), 0);
    EXPECT_NEAR(clock->seconds() - before, 2, 0.1);
    NSThread::sleepForTimeInterval(10); // the timer still writes, to nobody
}

TEST_F(QVAlertTest, WithoutWaitingTheSheetTellsItsDelegate) {
    const auto delegate = std::make_shared<OtherDelegate>();
    const auto object = std::make_shared<QVAlert>();
    object->setAlertEnded(true); // of an earlier sheet
    EXPECT_EQ(QVAlert::alertSheetWithMessageText("Go on?", {.alternateButton = "No",
                                                            .delegate = delegate,
                                                            .didEndSelector = "ended:",
                                                            .alertObject = object}),
              -1);
    EXPECT_FALSE(object->alertEnded());
    press("No");
    EXPECT_EQ(delegate->answers, std::vector<int>{0});

    // Nobody but the sheet holds this one.
    EXPECT_EQ(QVAlert::alertSheetWithMessageText("Go on?", QVAlert::Sheet{}), -1);
    ASSERT_EQ(NSAlert::shownAlerts().size(), 1U);
    press("OK");
    EXPECT_TRUE(NSAlert::shownAlerts().empty());
}

TEST_F(QVAlertTest, AMissingEndMethodShowsNothing) {
    const auto delegate = std::make_shared<OtherDelegate>();
    for (const QVAlert::Sheet& sheet :
         {QVAlert::Sheet{.delegate = delegate, .block = true},
          QVAlert::Sheet{.didEndSelector = "ended:", .block = true}}) {
        machine->clearConsole();
        EXPECT_EQ(QVAlert::alertSheetWithMessageText("?", sheet), -1);
        EXPECT_TRUE(NSAlert::shownAlerts().empty());
        const auto selector = sheet.didEndSelector.value_or("alertDidEnd:returnCode:contextInfo:");
        ASSERT_EQ(machine->consoleLines().size(), 1U);
        EXPECT_NE(machine->consoleLines()[0].find(
                      "Alert error: delegate does not respond to selector " + selector),
                  std::string::npos);
    }
}
