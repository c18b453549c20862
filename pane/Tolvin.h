// What the pane knows of the client: its names, its files, and what the two say to each other.
#pragma once

#include <string>

namespace Tolvin {

/// The client's bundle identifier, which is its job's label too.
inline const std::string identifier = "com.quorvane.Tolvin";
inline const std::string processName = "Tolvin";
/// The client's executable inside its bundle.
inline const std::string executable = "Contents/MacOS/Tolvin";
/// Name of its settings file in the Preferences folder, and of its job file.
inline const std::string settingsFile = "com.quorvane.Tolvin.plist";
inline const std::string jobFile = "LaunchAgents/com.quorvane.Tolvin.plist";
/// Settings that the maker's applications share.
inline const std::string globalSettingsFile = "com.quorvane.global.plist";

/// Distributed notifications. The first comes from the client, the others go to it.
inline const std::string statusUpdate = "QVTolvinStatusUpdate";
inline const std::string currentStatus = "QVTolvinCurrentStatus";
inline const std::string disconnect = "QVTolvinDisconnect";
inline const std::string relaunch = "QVTolvinRelaunch";
inline const std::string menuBarIconShow = "QVTolvinMenuBarIconShow";
inline const std::string menuBarIconHide = "QVTolvinMenuBarIconHide";
inline const std::string maintenanceEnable = "QVTolvinMaintenanceEnable";
inline const std::string maintenanceDisable = "QVTolvinMaintenanceDisable";

} // namespace Tolvin
