// Turns a .prefPane folder into a pane with its view: reads its Info.plist, loads its code, makes
// its principal class and loads its layout file.
#pragma once

#include "Foundation/NSBundle.h"
#include "PreferencePanes/NSPreferencePane.h"

#include <memory>
#include <string>

struct LoadedPane {
    std::shared_ptr<NSPreferencePane> pane;
    /// What the window is called.
    std::string title;
    /// The bundle identifier of the client that the pane turns on and off, which is its job's label
    /// too; empty for a pane that has none.
    std::string client;
    std::shared_ptr<const NSBundle> bundle;
};

/// The code stays loaded until the program ends. mainViewDidLoad is left to the caller. Raises
/// NSException with one line that says what is wrong with the bundle.
LoadedPane loadPane(const std::string& bundlePath);
