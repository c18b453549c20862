// A supervisor's whole life, as the program "launchctl supervise PATH": it says in one packet on
// its standard output how the start went, and keeps the job until it is told to end.
#pragma once

#include <cstddef>
#include <string>

/// The packet: this byte and a warning, or another one and the reason.
constexpr char answerStarted = '+';
constexpr char answerFailed = '-';
constexpr std::size_t longestAnswer = 16384;

/// The program's exit status.
int supervise(const std::string& path);
