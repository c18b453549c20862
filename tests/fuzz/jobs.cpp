// Job files given to launchctl.
#include "Foundation/NSException.h"
#include "Job.h"
#include "Require.h"
#include "System/FileDescriptor.h"

#include <sys/mman.h>
#include <sys/stat.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const FileDescriptor file(memfd_create("job", MFD_CLOEXEC));
    // Of a mode that launchctl trusts.
    require(file && fchmod(file.get(), S_IRUSR) == 0 &&
            write(file.get(), data, size) == static_cast<ssize_t>(size));
    try {
        const auto job = Job::readFile("/proc/self/fd/" + std::to_string(file.get()));
        require(!job.label.empty() && job.program.starts_with('/') && !job.arguments.empty());
        for (const auto& argument : job.arguments) {
            require(argument.find('\0') == argument.npos);
        }
    } catch (const NSException&) { // refused
    }
    return 0;
}
