// The names that people gave their network connections, where NetworkManager keeps them.
#pragma once

#include <map>
#include <string>

/// Names of the active connections, by interface. Empty when NetworkManager does not run or has not
/// answered within 25 ms: whoever waits for a report should not wait for a busy service.
std::map<std::string, std::string> connectionNames();
