#include "AppKit/NSNib.h"

#include "AppKit/NSApplication.h"
#include "AppKit/NSButton.h"
#include "AppKit/NSTextField.h"
#include "Foundation/NSException.h"
#include "support/TemporaryDirectory.h"

#include <fstream>
#include <gtest/gtest.h>
#include <QWidget>

namespace {

struct Owner : NSNibOwner {
    Owner() {
        outlet("check", check);
        outlet("label", label);
        action("act:", [this](NSObject* sender) { lastSender = sender; });
    }
    NSButton* check = nullptr;
    NSTextField* label = nullptr;
    NSObject* lastSender = nullptr;
};

std::string widget(const std::string& className, const std::string& name,
                   const std::string& properties = "") {
    return "<widget class=\"" + className + "\" name=\"" + name + "\">" + properties + "</widget>";
}

std::string property(const std::string& name, const std::string& value) {
    return "<property name=\"" + name + "\" stdset=\"0\">" + value + "</property>";
}

const std::string check = widget("NSButton", "check", property("action", "<string>act:</string>"));
const std::string label = widget("NSTextFieldLabel", "label");

/// What loading such a layout says, without the path; empty when it loads.
std::string complaint(const std::string& content, Owner& owner) {
    const TemporaryDirectory directory;
    const std::string path = directory.path() + "/View.ui";
    std::ofstream(path) << content;
    NSApplication::sharedApplication();
    try {
        NSNib(path).instantiateWithOwner(owner);
    } catch (const NSException& exception) {
        const std::string text = exception.what();
        EXPECT_EQ(text.rfind(path + ": ", 0), 0U) << text;
        EXPECT_EQ(text.find('\n'), std::string::npos) << text;
        return text.substr(path.size() + 2);
    }
    return "";
}

std::string layout(const std::string& widgets) {
    return "<ui version=\"4.0\"><class>V</class>" + widget("QWidget", "view", widgets) + "</ui>";
}

} // namespace

TEST(NSNibTest, SaysInOneLineWhatIsWrongWithALayout) {
    const std::pair<std::string, std::string> cases[] = {
        {layout(check + label), ""},
        {layout(check), "outlet label is missing"},
        {layout(check + widget("NSButton", "label")), "outlet label is of another class"},
        {layout(check + widget("QLabel", "label")), "outlet label is of another class"},
        {layout(check + label + widget("QLabel", "x", property("outlet", "<bool>true</bool>"))),
         "unknown outlet x"},
        {layout(check + label +
                widget("NSButton", "x", property("action", "<string>no:</string>"))),
         "unknown action no:"},
        {layout(check + label + widget("QLabel", "x", property("action", "<string>act:</string>"))),
         "x is no control and sends no action"},
        {layout(check + label + widget("NSNowhere", "x")), "unknown class NSNowhere"},
    };
    for (const auto& [content, expected] : cases) {
        Owner owner;
        EXPECT_EQ(complaint(content, owner), expected) << content;
        EXPECT_EQ(owner.check != nullptr, expected.empty());
    }
    for (const std::string& broken :
         {std::string(), std::string("bplist00"), layout(check + label).substr(0, 90)}) {
        Owner owner;
        EXPECT_EQ(complaint(broken, owner).rfind("no layout file", 0), 0U) << broken;
    }
    Owner owner;
    EXPECT_THROW(NSNib("/nowhere/View.ui").instantiateWithOwner(owner), NSException);
}
