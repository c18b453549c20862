// A process as something to wait for and to signal that can never become another process.
#pragma once

#include "System/FileDescriptor.h"

#include <sys/types.h>

/// Readable once the process has ended. None, with errno set, when there is no such process or the
/// system has no descriptors left.
FileDescriptor descriptorOfProcess(pid_t process);

/// Does nothing for a process that has ended.
void signalProcess(const FileDescriptor& process, int number);
