// Preloaded into the programs: makes one call of theirs fail. Counts the calls of each place in our
// own code, and in the libraries that call the system for it, in a file that all programs share.
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <new>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

extern "C" void* libraryMalloc(std::size_t size) __asm__("__libc_malloc");

namespace {

struct Place {
    std::atomic<std::uint64_t> hash;
    std::atomic<std::uint32_t> calls;
    char name[112];
};
struct Board {
    char wanted[108];
    std::int32_t status; // with which the program ended whose call failed
    std::uint32_t call;  // the number of the call, from 1
    std::int32_t error;  // or -1 to be killed
    std::atomic<std::uint32_t> done;
    std::atomic<std::uint32_t> crashed;
    std::array<Place, 8192> places;
};
static_assert(sizeof(Place) == 128);

Board* board = nullptr;
std::uint64_t wantedHash = 0;
bool failedHere = false;

std::uint64_t hashOf(std::string_view text) {
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const unsigned char byte : text) {
        hash = (hash ^ byte) * 0x100000001b3;
    }
    return hash;
}

bool isOurs(std::string_view module) {
    return !module.starts_with("/usr/") && !module.starts_with("/lib");
}

/// The place as "PROGRAM CALL MODULE+OFFSET", or empty for code that is neither ours nor works for
/// us.
void namePlace(char (&name)[112], const char* call, void* address) {
    name[0] = 0;
    dl_find_object found{};
    if (_dl_find_object(address, &found) != 0) {
        return;
    }
    std::string_view module = found.dlfo_link_map->l_name;
    const bool forUs =
        module.find("/libstdc++.so") != module.npos || module.find("/libsystemd.so") != module.npos;
    if (isOurs(module) || forUs) {
        module.remove_prefix(module.rfind('/') + 1);
        const char* program = program_invocation_short_name; // which has no name as a module
        snprintf(name, sizeof name, "%s %s %s+%lx", program, call,
                 module.empty() ? program : module.data(),
                 reinterpret_cast<std::uintptr_t>(address) - found.dlfo_link_map->l_addr);
    }
}

/// The error that this call has to fail with, or 0.
int errorFor(const char* call, void* address) {
    const int before = errno;
    char name[112];
    namePlace(name, call, address);
    if (name[0] == 0) {
        return 0;
    }
    const auto hash = hashOf(name);
    for (std::size_t index = hash; index < hash + 8192; ++index) {
        Place& place = board->places[index % 8192];
        std::uint64_t free = 0;
        if (place.hash.compare_exchange_strong(free, hash)) {
            memcpy(place.name, name, sizeof name);
        } else if (free != hash) {
            continue;
        }
        const auto number = ++place.calls;
        errno = before;
        if (hash != wantedHash || number != board->call || board->done.exchange(1) != 0) {
            return 0;
        }
        failedHere = true;
        if (board->error < 0) {
            kill(getpid(), SIGKILL);
        }
        return board->error;
    }
    return 0;
}

__attribute__((constructor)) void takeBoard() {
    const char* path = std::getenv("FAULTS_BOARD");
    std::array<char, 4096> program{};
    if (path == nullptr || readlink("/proc/self/exe", program.data(), program.size() - 1) < 0 ||
        !isOurs(program.data())) {
        return;
    }
    const int file = open(path, O_RDWR | O_CLOEXEC);
    void* memory = mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    if (memory != MAP_FAILED) {
        on_exit([](int status, void*) { board->status = failedHere ? status : board->status; },
                nullptr);
        struct sigaction noting {};
        noting.sa_handler = [](int signal) {
            board->crashed = signal;
            raise(signal);
        };
        noting.sa_flags = SA_RESETHAND | SA_NODEFER;
        for (const int signal : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV}) {
            sigaction(signal, &noting, nullptr);
        }
        wantedHash = hashOf(static_cast<Board*>(memory)->wanted);
        board = static_cast<Board*>(memory);
    }
}

using Call = long (*)(long, long, long, long, long, long);

Call next(const char* name) { return reinterpret_cast<Call>(dlsym(RTLD_NEXT, name)); }

/// How a call says that it failed.
enum Failing { minusOne, null, number };
long failed(Failing how, int error) {
    errno = error;
    return how == minusOne ? -1 : how == null ? 0 : error;
}

} // namespace

extern "C" void* malloc(std::size_t size) {
    if (board && errorFor("malloc", __builtin_return_address(0)) != 0) {
        errno = ENOMEM;
        return nullptr;
    }
    return libraryMalloc(size);
}

void* operator new(std::size_t size) {
    void* memory = board && errorFor("new", __builtin_return_address(0)) != 0
                       ? nullptr
                       : libraryMalloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

// None takes more than six arguments, all of them in registers of the same kind.
#define CALL(name, how)                                                                            \
    extern "C" long faults_##name(long, long, long, long, long, long) __asm__(#name);              \
    long faults_##name(long a, long b, long c, long d, long e, long f) {                           \
        static const Call call = next(#name);                                                      \
        const int error = board ? errorFor(#name, __builtin_return_address(0)) : 0;                \
        if (error != 0 && strcmp(#name, "close") != 0) {                                           \
            return failed(how, error);                                                             \
        }                                                                                          \
        const long result = call(a, b, c, d, e, f);                                                \
        return error != 0 ? failed(how, error) : result; /* a close that fails has closed */       \
    }
#define MINUS_ONE(name) CALL(name, minusOne)

// clang-format off
MINUS_ONE(open) MINUS_ONE(open64) MINUS_ONE(openat) MINUS_ONE(openat64) MINUS_ONE(mkstemp)
MINUS_ONE(read) MINUS_ONE(pread) MINUS_ONE(readv) MINUS_ONE(write) MINUS_ONE(pwrite)
MINUS_ONE(writev) MINUS_ONE(fsync) MINUS_ONE(ftruncate) MINUS_ONE(flock) MINUS_ONE(rename)
MINUS_ONE(renameat) MINUS_ONE(unlink) MINUS_ONE(unlinkat) MINUS_ONE(mkdir) MINUS_ONE(readlink)
MINUS_ONE(access) MINUS_ONE(chmod) MINUS_ONE(fchmod) MINUS_ONE(fchown) MINUS_ONE(fchownat)
MINUS_ONE(futimens) MINUS_ONE(fcntl) MINUS_ONE(fcntl64) MINUS_ONE(dup2) MINUS_ONE(close)
MINUS_ONE(pipe2) MINUS_ONE(fork) MINUS_ONE(execve) MINUS_ONE(waitid) MINUS_ONE(waitpid)
MINUS_ONE(kill) MINUS_ONE(epoll_create1) MINUS_ONE(epoll_ctl) MINUS_ONE(epoll_wait)
MINUS_ONE(epoll_pwait) MINUS_ONE(epoll_pwait2) MINUS_ONE(poll) MINUS_ONE(ppoll)
MINUS_ONE(timerfd_create) MINUS_ONE(timerfd_settime) MINUS_ONE(eventfd) MINUS_ONE(signalfd)
MINUS_ONE(pidfd_open) MINUS_ONE(pidfd_send_signal) MINUS_ONE(socket) MINUS_ONE(socketpair)
MINUS_ONE(connect) MINUS_ONE(setsockopt) MINUS_ONE(getsockopt) MINUS_ONE(send) MINUS_ONE(sendto)
MINUS_ONE(sendmsg) MINUS_ONE(recv) MINUS_ONE(recvmsg) MINUS_ONE(stat) MINUS_ONE(fstat)
MINUS_ONE(lstat) MINUS_ONE(fstatat) MINUS_ONE(prctl) MINUS_ONE(getrandom) MINUS_ONE(mmap)
MINUS_ONE(mmap64)
CALL(fopen64, null) CALL(opendir, null) CALL(fdopen, null)
CALL(pthread_create, number) CALL(posix_spawn, number)
