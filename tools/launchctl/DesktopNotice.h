// A word to the person in front of the desktop, from a program that has no window.
#pragma once

#include <string>

/// Shows a notification on the desktop of this session, where it has something that shows them and
/// the settings window, which says it itself, is not open. A child of this process does it, so that
/// nothing here waits for the bus; its end is the caller's to wait for.
void showOnDesktop(const std::string& summary, const std::string& body);
