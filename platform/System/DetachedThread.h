// Threads that nobody waits for.
#pragma once

#include <functional>

/// Runs `body`, which raises nothing, on a new thread; raises std::system_error when the system has
/// none left. A thread takes none of the signals that the program means for its main one. It has a
/// stack of 1 MiB, so that a thousand of them do not take the 8 GiB of addresses that the usual
/// size would: enough for property lists as deep as they may be.
void startDetachedThread(std::function<void()> body);
