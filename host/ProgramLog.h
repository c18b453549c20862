// The files of the log that the pane's support library writes in this program's name.
#pragma once

#include <string>

/// The user's own, the machine's for the superuser.
std::string logFolder();
/// "Preferences.1.log" is the one that is written, "Preferences.5.log" the oldest.
std::string logFileName(int generation);
inline constexpr int oldestLogGeneration = 5;

/// Makes the current one, empty, unless it is there: the log writes to no other. Nothing happens
/// where logging is switched off; a failure shows in the console lines that the log then writes.
void makeLogFile();
