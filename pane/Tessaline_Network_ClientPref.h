// The pane's controller: shows the client's settings and state, writes every change back at once,
// and starts, stops and relaunches the client. The source is divided by concern:
//   Tessaline_Network_ClientPref.cpp             loading, the enabling rule, the switch, teardown
//   Tessaline_Network_ClientPref+Settings.cpp    the settings files
//   Tessaline_Network_ClientPref+Status.cpp      the status line, the poll and the reply time-out
//   Tessaline_Network_ClientPref+Interfaces.cpp  the network interface menu
//   Tessaline_Network_ClientPref+Job.cpp         the client's life as a job
// Main thread only, but for the operations of the last file.
#pragma once

#include "AppKit/NSButton.h"
#include "AppKit/NSPopUpButton.h"
#include "AppKit/NSProgressIndicator.h"
#include "AppKit/NSTextField.h"
#include "Foundation/NSNotification.h"
#include "Foundation/NSTimer.h"
#include "pane/InterfaceReport.h"
#include "pane/QVSwitch.h"
#include "PreferencePanes/NSPreferencePane.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

class Tessaline_Network_ClientPref : public NSPreferencePane {
public:
    Tessaline_Network_ClientPref();
    ~Tessaline_Network_ClientPref() override;

    void mainViewDidLoad() override;
    /// Later while a start or a stop runs.
    NSPreferencePaneUnselectReply shouldUnselect() override;
    void observeValueForKeyPath(const std::string& keyPath, NSObject& object,
                                const NSKeyValueChange& change, void* context) override;

    /// Starts the client when the switch is on, stops it when it is off, on a thread of its own.
    /// Does nothing while the switch is disabled.
    void enableDisableClient(NSObject* sender);
    /// Actions of the two checkboxes that the running client hears of at once.
    void showHideMenuBarIcon(NSObject* sender);
    void enableDisableMaintenance(NSObject* sender);

    /// The enabling rule: which controls can be used follows from the job file's presence and the
    /// status line. The switch is moved to match only when `changeSwitch` says so.
    void updateEnabledStatus() { updateEnabledStatus(true); }
    void updateEnabledStatus(bool changeSwitch);
    /// Makes the switch and the client's checkboxes unusable until the enabling rule runs again.
    void disableInterface();

    /// Writes the state of every control to the settings files. A failure ends in an alert sheet
    /// and leaves the files as they were.
    void savePrefs(NSObject* sender);
    /// Saves, and has the client relaunch, whether or not the save succeeded.
    void updateNetworkSettings(NSObject* sender);

    /// Shows the text under "status" of the user info, and lets the enabling rule follow it. Any
    /// notification ends the wait for a reply.
    void updateStatus(const NSNotification& notification);
    /// Asks the client for its status and waits 10 seconds for a reply.
    void fetchCurrentStatus();
    /// Posts a notification to which the client replies within 10 seconds.
    void postNotification(const NSNotification& notification);
    /// Waits so many seconds for a reply, instead of whatever was waited for before.
    void scheduleTimeOut(int seconds);
    void invalidateTimeOut();
    void timedOut();

    /// The machine's network interfaces as the system profiler reports them; none when it cannot
    /// be understood, with a line in the console that says why. Waits for the tool, at most 10
    /// seconds.
    std::optional<std::vector<NetworkInterface>> networkInterfaces();
    /// Fills the menu afresh and selects the saved interface.
    void populateNetworkInterfaces();

    /// The bodies of the job threads. Each reports what is raised in it and always takes its final
    /// steps.
    void setupClient();
    void stopClient();
    void reloadClientIfNew();
    void launchClientAfterDelay();
    /// Whether the login user runs an executable of this name. Any thread.
    bool isProcessRunning(const std::string& executableName);

    /// A control that is saved, and all that there is to know of it: outlets, loading, saving and
    /// the enabling rule follow from settings(). One without a row there is no outlet, and a layout
    /// that has it does not load.
    struct Setting {
        using Self = Tessaline_Network_ClientPref;
        /// The client's checkboxes are on unless 0 is stored, and need a client that is up; so are
        /// shared ones, in the file of all the maker's applications; the network's are on if 1 is.
        enum Kind { client, shared, network };

        std::string outlet;
        std::variant<NSButton * Self::*, NSPopUpButton * Self::*, NSTextField * Self::*> control;
        std::string key;
        Kind kind;
        NSButton* Self::*needs = nullptr; // the checkbox that has to be on for this one

        bool needsClient() const { return kind != network; }
    };
    static const std::vector<Setting>& settings();

private:
    /// Calls work(control, setting) for each, in the order in which they are saved.
    template <class Work>
    void forEachSetting(const Work& work) {
        for (const Setting& setting : settings()) {
            std::visit([&](auto control) { work(this->*control, setting); }, setting.control);
        }
    }

    template <class Work>
    void forEachClientControl(const Work& work) {
        forEachSetting([&](NSControl* control, const Setting& setting) {
            if (setting.needsClient()) {
                work(*control);
            }
        });
    }

    std::shared_ptr<Tessaline_Network_ClientPref> retained();
    static std::string clientJobFile();
    static std::string settingsPath(const std::string& file);
    static std::optional<std::string> clientExecutable();
    static std::string clientVersionText();
    void loadSettings();
    void putSettings(NSDictionary& settings, bool shared);
    bool clientIsUp();
    bool writeClientSettings();
    bool moveSettingsWithRights(const NSDictionary& settings);
    void alertOfPreferences();
    void writeGlobalSettings();
    void startStatusPoll();
    void showLocalStatus(const std::string& status);
    /// The same from a job thread.
    void performStatus(const std::string& status, bool waitUntilDone);
    /// Runs a job thread's steps; what they raise is reported under the method's name.
    void reporting(const char* method, const std::function<void()>& steps);
    void finishProcessing();
    /// Puts the switch right where a toggle was passed over.
    void finishLoading();
    void installJob(const std::string& executable);
    void storeLastRunVersion(const std::optional<std::string>& version);
    void relaunchClient();

    std::atomic<bool> isLoading{true};
    std::atomic<bool> isProcessing{false};
    std::shared_ptr<NSTimer> messageTimer;
    NSTextField* versionLabel = nullptr;
    NSTextField* statusLabel = nullptr;
    NSProgressIndicator* statusSpinner = nullptr;
    NSTextField* masterOffLabel = nullptr;
    QVSwitch* masterSwitch = nullptr;
    NSTextField* masterOnLabel = nullptr;
    NSButton* autoUpdateCheck = nullptr;
    NSButton* preventUpdateDialogsCheck = nullptr;
    NSButton* showMenuBarIconCheck = nullptr;
    NSButton* enableMaintenanceCheck = nullptr;
    NSPopUpButton* networkInterfacePopUp = nullptr;
    NSButton* networkCustomPortCheck = nullptr;
    NSTextField* networkCustomPortText = nullptr;
    NSButton* networkDisableBonjour = nullptr;
    std::shared_ptr<NSTimer> statusTimer;

    bool togglePassedOver = false;       // while the pane was loading
    std::atomic<unsigned> operations{0}; // starts and stops so far
    std::mutex settingsMutex; // held from the reading of the settings file to its writing
};
