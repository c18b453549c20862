#include "Client.h"
#include "Foundation/NSBundle.h"
#include "Foundation/NSException.h"
#include "Foundation/NSPathUtilities.h"
#include "Foundation/NSRunLoop.h"
#include "Foundation/NSString.h"
#include "System/FileDescriptor.h"
#include "System/Machine.h"
#include "System/SandboxMachine.h"
#include "System/SaneSurroundings.h"

#include <csignal>
#include <iostream>
#include <sys/signalfd.h>

namespace {

/// The sandbox that the executable lies in: the folder around the Applications folder that holds
/// the bundle. Empty on the machine's own disk, where that is "/" or the user's home.
std::string rootAround(const std::string& executable) {
    std::string folder = executable;
    for (int level = 0; level < 4; ++level) { // up to what holds Tolvin.app
        folder = stringByDeletingLastPathComponent(folder);
    }
    if (lastPathComponent(folder) != "Applications") {
        return "";
    }
    std::string root = stringByDeletingLastPathComponent(folder);
    if (root == Machine::current().homeDirectory()) {
        return "";
    }
    const std::string users = stringByDeletingLastPathComponent(root);
    if (lastPathComponent(users) == "Users") {
        root = stringByDeletingLastPathComponent(users);
    }
    return root == "/" ? "" : root;
}

/// Readable when the client is asked to end.
FileDescriptor endRequests() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&signals, number);
    }
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return FileDescriptor(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
}

} // namespace

int main(int argc, char** argv) {
    takeSaneSurroundings();
    ClientOptions options;
    try {
        options = ClientOptions::fromArguments({argv + (argc > 0 ? 1 : 0), argv + argc});
    } catch (const NSException& exception) {
        std::cerr << "Tolvin: " << exception.what() << '\n' << ClientOptions::usage();
        return 2;
    }
    if (options.help) {
        std::cout << ClientOptions::usage();
        return 0;
    }
    const std::string root =
        options.root.empty() ? rootAround(NSBundle::mainExecutablePath()) : options.root;
    if (!root.empty()) {
        Machine::install(std::make_shared<SandboxMachine>(root));
    }

    const FileDescriptor requests = endRequests();
    bool ends = false;
    NSRunLoop& loop = NSRunLoop::mainRunLoop();
    loop.addDescriptor(requests.get(), PollSet::readable, [&](std::uint32_t) { ends = true; });
    const auto client = std::make_shared<Client>(options);
    client->start();
    loop.runUntil([&] { return ends; });
    client->stop();
    return 0;
}
