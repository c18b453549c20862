#include "System/ProcessDescriptor.h"

extern "C" { // which the C library's header leaves out
#include <sys/pidfd.h>
}

FileDescriptor descriptorOfProcess(pid_t process) { return FileDescriptor(pidfd_open(process, 0)); }

void signalProcess(const FileDescriptor& process, int number) {
    pidfd_send_signal(process.get(), number, nullptr, 0);
}
