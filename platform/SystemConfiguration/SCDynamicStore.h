// What the system knows about its own state: here, who sits at the console.
#pragma once

#include <optional>
#include <string>

/// Short name of the user at the console, "loginwindow" while nobody is logged in there; none when
/// the console is nobody's. Any thread.
std::optional<std::string> SCDynamicStoreCopyConsoleUser();
