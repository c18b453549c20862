// The signals that ask a program to end.
#pragma once

#include <functional>

/// Calls `handler` on the main thread at the first SIGTERM, SIGINT or SIGHUP. A second one ends the
/// program as if there were no handler; who starts the program with one ignored, as nohup does,
/// keeps it ignored. Called once.
void handleTerminationSignals(std::function<void(int signal)> handler);
