#include "host/HostMachine.h"

#include "Foundation/NSException.h"
#include "Foundation/NSFileManager.h"
#include "Foundation/NSPathUtilities.h"
#include "Foundation/NSString.h"
#include "System/RealMachine.h"
#include "System/SandboxMachine.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <unistd.h>

namespace {

/// Tried by writing: neither a mode nor who the user is tells the whole truth.
void requireWritable(const std::string& folder) {
    NSFileManager::defaultManager().createDirectoryAtPath(folder);
    std::string probe = stringByAppendingPathComponent(folder, ".write-test-XXXXXX");
    const int descriptor = mkstemp(probe.data());
    if (descriptor < 0) {
        throw NSException(NSInvalidArgumentException,
                          "The root folder " + folder +
                              " cannot be written: " + std::strerror(errno));
    }
    close(descriptor);
    unlink(probe.c_str());
}

} // namespace

std::shared_ptr<Machine> makeMachine(const Options& options) {
    if (!options.root) {
        return std::make_shared<RealMachine>(options.authorization);
    }
    std::string folder = std::filesystem::absolute(*options.root).lexically_normal().string();
    requireWritable(folder);
    folder = std::filesystem::canonical(folder).string();
    // Tools and clients that are started from here belong to the same disk.
    setenv("TESSALINE_ROOT", folder.c_str(), 1);
    return std::make_shared<SandboxMachine>(folder, options.authorization);
}

void makeHomeFolders() {
    NSFileManager::defaultManager().createDirectoryAtPath(
        stringByAppendingPathComponent(NSHomeDirectory(), "Library/Preferences"));
}
