// The object that a layout file is loaded for. In its constructor it names the places that take
// controls of the layout (outlets) and the methods that controls may call (actions); loading
// connects both by their names.
#pragma once

#include "AppKit/NSControl.h"

#include <functional>
#include <map>
#include <string>

class NSNibOwner {
public:
    virtual ~NSNibOwner() = default;

    /// Puts the object into the outlet. False when it is of another class; raises
    /// NSUndefinedKeyException for an outlet that was not named.
    bool connectOutlet(const std::string& name, NSObject* object);
    /// Makes every outlet null again.
    void disconnectOutlets();
    /// None for an action that was not named.
    const NSControl::Action* actionNamed(const std::string& selector) const;
    bool hasOutlet(const std::string& name) const { return outlets.contains(name); }
    /// The first outlet, in the order of the alphabet, that nothing was put into; empty for none.
    std::string unconnectedOutlet() const;

protected:
    /// Names a field that takes the control of that name. The field is set to null until then.
    template <class Control>
    void outlet(const std::string& name, Control*& field) {
        field = nullptr;
        outlets[name] = {[&field](NSObject* object) {
                             field = dynamic_cast<Control*>(object);
                             return field != nullptr;
                         },
                         false};
    }
    /// Names a method by its selector, as layout files do: "savePrefs:".
    void action(const std::string& selector, NSControl::Action method) {
        actions[selector] = std::move(method);
    }

private:
    struct Outlet {
        std::function<bool(NSObject*)> connect;
        bool connected = false;
    };
    std::map<std::string, Outlet> outlets;
    std::map<std::string, NSControl::Action> actions;
};
