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
        action("act:", [](NSObject*) {});
    }
    NSButton* check = nullptr;
    NSTextField* label = nullptr;
};

std::string widget(const std::string& className, const std::string& name,
                   const std::string& properties = "") {
    return "<widget class=\"" + className + "\" name=\"" + name + "\">" + properties + "</widget>";
}

std::string property(const std::string& name, const std::string& value) {
    return "<property name=\"" + name + "\" stdset=\"0\">" + value + "</property>";
}

std::string action(const std::string& name) {
    return property("action", "<string>" + name + "</string>");
}

const std::string check = widget("NSButton", "check", action("act:"));
const std::string both = check + widget("NSTextFieldLabel", "label");

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
        {layout(both), ""},
        {layout(check), "outlet label is missing"},
        {layout(check + widget("QLabel", "label")), "outlet label is of another class"},
        {layout(both + widget("QLabel", "x", property("outlet", "<bool>true</bool>"))),
         "unknown outlet x"},
        {layout(both + widget("NSButton", "x", action("no:"))), "unknown action no:"},
        {layout(both + widget("QLabel", "x", action("act:"))),
         "x is no control and sends no action"},
        {layout(both + widget("NSNowhere", "x")), "unknown class NSNowhere"},
        {layout(both).substr(0, 90), "no layout file"},
        {"", "no layout file"},
    };
    for (const auto& [content, expected] : cases) {
        Owner owner;
        EXPECT_EQ(complaint(content, owner).rfind(expected, 0), 0U) << content;
        EXPECT_EQ(owner.check != nullptr, expected.empty());
    }
}
