#include "Foundation/NSPipe.h"

#include "Foundation/NSException.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>

NSPipe::NSPipe() {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw NSException(NSInternalInconsistencyException,
                          std::string("Cannot make a pipe: ") + std::strerror(errno));
    }
    reading = std::make_shared<NSFileHandle>(FileDescriptor(ends[0]));
    writing = std::make_shared<NSFileHandle>(FileDescriptor(ends[1]));
}
