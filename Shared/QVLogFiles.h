// Where the log's files are, and whether there are to be any: for the log itself, and for who shows
// it.
#pragma once

#include <string>

/// The user's own folder, the machine's for the superuser.
std::string logFolder();
/// "PROGRAM.1.log" is the one that is written, "PROGRAM.5.log" the oldest.
std::string logFileName(const std::string& program, int generation);
inline constexpr int oldestLogGeneration = 5;
/// The program that this process runs, as its log is named.
std::string nameOfLoggedProgram();
/// By the user, in the settings that the maker's applications share.
bool isLoggingSwitchedOff();
