// The base of a preference pane's controller. The settings application makes one, loads the pane's
// view from its layout file, and tells it that the view is there. Made with makeForMainThread,
// since a thread of the pane's own may hold it longer than the window does.
#pragma once

#include "AppKit/NSNibOwner.h"
#include "Foundation/NSObject.h"
#include "Foundation/NSThread.h"

#include <functional>
#include <memory>
#include <string>

class QWidget;

/// Whether a pane may be left: not at all, now, or once it replies.
enum NSPreferencePaneUnselectReply { NSUnselectCancel = 0, NSUnselectNow = 1, NSUnselectLater = 2 };

class NSPreferencePane : public NSObject,
                         public NSNibOwner,
                         public std::enable_shared_from_this<NSPreferencePane> {
public:
    /// A class known under its name. The code that has it keeps it: while code is loaded, nobody
    /// could be told that memory is out.
    struct PrincipalClass {
        PrincipalClass(const char* name, std::shared_ptr<NSPreferencePane> (*make)());
        const char* const name;
        std::shared_ptr<NSPreferencePane> (*const make)();
        const PrincipalClass* const before; // the one that became known before it
    };

    NSPreferencePane();
    /// The main view goes with the pane. Main thread.
    ~NSPreferencePane() override;

    /// Loads the view from a layout file and connects outlets and actions. Raises as NSNib does.
    void loadMainView(const std::string& layoutPath);
    /// Null before it is loaded. The pane keeps it.
    QWidget* mainView() const { return view.get(); }
    /// Called once, after the view is loaded.
    virtual void mainViewDidLoad() {}
    /// Asked before the pane is left. One that answers NSUnselectLater goes on with its work and
    /// calls replyToShouldUnselect when that is over. Main thread.
    virtual NSPreferencePaneUnselectReply shouldUnselect() { return NSUnselectNow; }
    /// Does nothing where nobody waits for a reply. Main thread.
    void replyToShouldUnselect(bool shouldUnselect);
    /// Who waits for the next reply.
    void setUnselectReply(std::function<void(bool shouldUnselect)> reply) {
        unselectReply = std::move(reply);
    }

    /// A new pane of the named class; none for an unknown name.
    static std::shared_ptr<NSPreferencePane> paneOfClass(const std::string& name);

private:
    std::unique_ptr<QWidget> view;
    std::function<void(bool)> unselectReply;
};

/// Stands once in the source file of a pane's principal class.
#define NS_PRINCIPAL_CLASS(Class)                                                                  \
    static const NSPreferencePane::PrincipalClass principalClass(                                  \
        #Class, []() -> std::shared_ptr<NSPreferencePane> { return makeForMainThread<Class>(); });
