// What the pane knows of the client: its names, its files, and what the two say to each other.
#pragma once

namespace Tolvin {

/// The client's bundle identifier, which is its job's label too.
constexpr const char* identifier = "com.quorvane.Tolvin";
constexpr const char* processName = "Tolvin";
/// The client's executable inside its bundle.
constexpr const char* executable = "Contents/MacOS/Tolvin";
/// Name of its settings file in the Preferences folder, and of its job file.
constexpr const char* settingsFile = "com.quorvane.Tolvin.plist";
constexpr const char* jobFile = "LaunchAgents/com.quorvane.Tolvin.plist";
/// Settings that the maker's applications share.
constexpr const char* globalSettingsFile = "com.quorvane.global.plist";

/// Distributed notifications. The first comes from the client, the others go to it.
constexpr const char* statusUpdate = "QVTolvinStatusUpdate";
constexpr const char* currentStatus = "QVTolvinCurrentStatus";
constexpr const char* disconnect = "QVTolvinDisconnect";
constexpr const char* relaunch = "QVTolvinRelaunch";
constexpr const char* menuBarIconShow = "QVTolvinMenuBarIconShow";
constexpr const char* menuBarIconHide = "QVTolvinMenuBarIconHide";
constexpr const char* maintenanceEnable = "QVTolvinMaintenanceEnable";
constexpr const char* maintenanceDisable = "QVTolvinMaintenanceDisable";

} // namespace Tolvin
