#include "AppKit/NSApplication.h"
#include "AppKit/NSButton.h"
#include "AppKit/NSPopUpButton.h"
#include "AppKit/NSScrollView.h"
#include "AppKit/NSTextFieldInput.h"
#include "AppKit/NSTextFieldLabel.h"
#include "AppKit/NSWindow.h"
#include "Foundation/NSException.h"
#include "support/Observer.h"
#include "support/TestMachine.h"

#include <gtest/gtest.h>
#include <QAbstractItemView>
#include <QApplication>
#include <QKeyEvent>
#include <QVBoxLayout>
#include <QWheelEvent>
#include <QWindow>

namespace {

void press(QWidget& widget, Qt::Key key, const QString& text = {}) {
    QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier, text);
    QApplication::sendEvent(&widget, &event);
}

class NSControlTest : public MachineTest {
protected:
    NSControlTest() { NSApplication::sharedApplication(); }
};

} // namespace

TEST_F(NSControlTest, OnlyTheUsersClickSendsACheckboxsAction) {
    NSButton button;
    NSObject* sender = nullptr;
    button.setAction([&](NSObject* from) { sender = from; });
    button.setState(1);
    EXPECT_EQ(sender, nullptr);
    button.click();
    EXPECT_EQ(sender, &button);
    EXPECT_EQ(button.state(), 0);
    EXPECT_THROW(button.valueForKey("colour"), NSException);
    int changes = 0;
    const auto listener = std::make_shared<Observer>([&](const auto&) { ++changes; });
    button.addObserver(listener, "state", 0, nullptr);
    for (int i = 0; i < 2; ++i) {
        button.willChangeValueForKey("state");
        button.didChangeValueForKey("state");
        button.removeObserver(*listener, "state");
    }
    EXPECT_EQ(changes, 1);
    button.setAction([](NSObject*) { throw NSException("Odd", "an action's failure"); });
    button.click(); // must not pass through the event loop
    EXPECT_NE(machine->consoleLines().back().find("an action's failure"), std::string::npos);
}

TEST_F(NSControlTest, KeysMoveInAnOpenMenuAndOnlyTheChoiceActs) {
    NSPopUpButton button;
    int actions = 0;
    button.setAction([&](NSObject*) { ++actions; });
    for (const char* title : {"One", "Two", "Three"}) {
        button.addItemWithTitle(title);
    }
    QWheelEvent wheel({}, {}, {}, {0, -120}, Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase,
                      false);
    QApplication::sendEvent(&button, &wheel);
    for (const auto key : {Qt::Key_End, Qt::Key_T, Qt::Key_Down}) {
        press(button, key, key == Qt::Key_T ? "t" : "");
        EXPECT_EQ(button.selectedItem()->title(), "One");
    }
    EXPECT_TRUE(button.view()->isVisible());
    press(*button.view(), Qt::Key_Down);
    EXPECT_EQ(actions, 0);
    press(*button.view(), Qt::Key_Return);
    EXPECT_EQ(actions, 1);
    EXPECT_EQ(button.selectedItem()->title(), "Two");
}

TEST_F(NSControlTest, ALabelThatKeepsItsRoomHasItsWholeTextAllTheSame) {
    QWidget view;
    auto* label = new NSTextFieldLabel;
    label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    (new QVBoxLayout(&view))->addWidget(label);
    label->setStringValue("<b>");
    view.resize(200, 50);
    view.grab();
    EXPECT_EQ(label->text() + label->toolTip(), "<b>");
    const QSize room = view.minimumSizeHint();
    for (const std::string& text :
         {std::string(1'000'000, 'w'), "<b>" + std::string(80, '\n') + "."}) {
        label->setStringValue(text);
        EXPECT_EQ(label->stringValue(), text);
        EXPECT_EQ(view.minimumSizeHint(), room);
        EXPECT_LT(label->text().size(), 100);
        EXPECT_FALSE(label->toolTip().contains("<b>"));
        EXPECT_LT(label->toolTip().size(), 10'000);
    }
}

TEST_F(NSControlTest, AWindowOfAnySizeShowsTheWholeView) {
    auto* view = new QWidget;
    auto* layout = new QVBoxLayout(view);
    auto* button = new NSButton;
    button->setText("A &title that takes several lines where there is little room");
    auto* last = new NSButton;
    layout->addWidget(button);
    layout->addSpacing(400);
    layout->addWidget(last);
    layout->addStretch();
    NSWindow window("Test", view);
    const auto placeOf = [&](QWidget* widget) {
        return QRect(widget->mapTo(&window, QPoint()), widget->size());
    };
    const auto show = [&](QSize size) {
        window.resize(size);
        window.grab({0, 0, 1, 1}); // lays out; more would be drawn on threads of Qt's own
    };
    show({3000, 600});
    EXPECT_NEAR(placeOf(view).center().x(), window.rect().center().x(), 1);
    EXPECT_LT(view->width(), 1500);
    const int line = button->height();
    show({200, 100});
    EXPECT_TRUE(QRect(0, 0, 200, 100).contains(placeOf(button)));
    EXPECT_GT(button->height(), line);
    EXPECT_EQ(button->height(), button->heightForWidth(button->width()));
    EXPECT_FALSE(window.rect().intersects(placeOf(last)));
    NSScrollView::scrollToVisible(*last);
    EXPECT_TRUE(window.rect().contains(placeOf(last)));
    delete view; // before its window
}

TEST_F(NSControlTest, AFieldActsOnReturnAndOnLeavingItWhenItsTextHasChanged) {
    auto* view = new QWidget;
    auto* layout = new QVBoxLayout(view);
    auto* field = new NSTextFieldInput;
    auto* other = new NSTextFieldInput;
    layout->addWidget(field);
    layout->addWidget(other);
    NSWindow window("Test", view);
    NSApp().setMainWindow(&window);
    int actions = 0;
    field->setAction([&](NSObject*) { ++actions; });
    window.makeKeyAndOrderFront();
    window.waitUntilShown();
    QApplication::processEvents();
    const auto typed = [&](const char* text) {
        field->setFocus();
        field->setText(text);
    };
    field->setStringValue("1");
    press(*field, Qt::Key_Return);
    EXPECT_EQ(actions, 0);
    typed("12");
    press(*field, Qt::Key_Return);
    press(*field, Qt::Key_Return);
    other->setFocus();
    EXPECT_EQ(actions, 1);
    typed("123");
    other->setFocus();
    EXPECT_EQ(actions, 2);
    typed("1234");
    int closes = 0;
    window.setWindowWillClose([&] {
        ++closes;
        window.orderOut();
    });
    window.windowHandle()->close();
    window.windowHandle()->close(); // as quick as that
    EXPECT_EQ(closes, 2);
    EXPECT_EQ(actions, 3);
    delete view; // before its window
}
