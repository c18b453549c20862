// Does what its arguments say, one after the other: o:TEXT and e:TEXT write to an output, x:N exits
// with N, k:N dies by signal N, c closes both outputs, i ignores the termination signal, r:FIFO
// tells a reader that it has come so far, s stays until it is ended, f:N floods error and output
// with N MiB each, g leaves behind a child that stays and holds the outputs; g:FIFO one that tells
// a reader once its parent has ended.
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

void say(int descriptor, const std::string& text) {
    for (std::size_t done = 0; done < text.size();) {
        const auto count = write(descriptor, text.data() + done, text.size() - done);
        if (count <= 0) {
            std::exit(99);
        }
        done += static_cast<std::size_t>(count);
    }
}

void awaitEndOf(pid_t parent) {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGUSR1);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    prctl(PR_SET_PDEATHSIG, SIGUSR1);
    int number = 0;
    if (getppid() == parent) {
        sigwait(&set, &number);
    }
}

[[noreturn]] void stay() {
    alarm(120); // no test leaves it behind for good
    for (;;) {
        pause();
    }
}

} // namespace

int main(int count, char** arguments) {
    for (int index = 1; index < count; ++index) {
        const std::string argument = arguments[index];
        const auto text = argument.size() > 2 ? argument.substr(2) : "";
        const int number = std::atoi(text.c_str());
        switch (argument[0]) {
        case 'o':
            say(STDOUT_FILENO, text);
            break;
        case 'e':
            say(STDERR_FILENO, text);
            break;
        case 'x':
            return number;
        case 'k':
            std::signal(number, SIG_DFL);
            raise(number);
            break;
        case 'c':
            close(STDOUT_FILENO);
            close(STDERR_FILENO);
            break;
        case 'i':
            std::signal(SIGTERM, SIG_IGN);
            break;
        case 'r':
            close(open(text.c_str(), O_WRONLY));
            break;
        case 's':
            stay();
        case 'f':
            for (const int descriptor : {STDERR_FILENO, STDOUT_FILENO}) {
                for (int block = 0; block < number; ++block) {
                    say(descriptor, std::string(1 << 20, descriptor == STDERR_FILENO ? 'e' : 'o'));
                }
            }
            break;
        case 'g':
            if (const auto parent = getpid(); fork() == 0) {
                if (!text.empty()) {
                    awaitEndOf(parent);
                    close(open(text.c_str(), O_WRONLY));
                }
                stay();
            }
            break;
        default:
            return 98;
        }
    }
    return 0;
}
