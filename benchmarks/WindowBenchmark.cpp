// The pane's window with all its controls beside a bare Qt window with the same number of the same
// widgets: the time from the start of the process until it is drawn, and the memory it then holds.
// Fails when the pane takes more than 1.25 times as much of either.
//
//   WindowBenchmark [BUNDLE]
#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int rounds = 21;
constexpr double limit = 1.25;
constexpr const char* greeting = "shown\n";

struct Sample {
    double milliseconds = 0;
    double mebibytes = 0;
};

/// What the process alone is charged for: shared pages are divided among those who share them.
double proportionalMebibytes(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/smaps_rollup");
    for (std::string word; file >> word;) {
        if (word == "Pss:") {
            double kibibytes = 0;
            file >> kibibytes;
            return kibibytes / 1024;
        }
    }
    return 0;
}

[[noreturn]] void giveUp(const std::string& reason) {
    std::fprintf(stderr, "WindowBenchmark: %s\n", reason.c_str());
    std::exit(2);
}

Sample measure(const std::vector<std::string>& command) {
    std::array<int, 2> input{};
    std::array<int, 2> output{};
    if (pipe(input.data()) != 0 || pipe(output.data()) != 0) {
        giveUp("no pipe");
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    for (const int descriptor : {input[0], input[1], output[0], output[1]}) {
        posix_spawn_file_actions_addclose(&actions, descriptor);
    }
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);

    const auto start = std::chrono::steady_clock::now();
    pid_t child = 0;
    if (posix_spawn(&child, arguments[0], &actions, nullptr, arguments.data(), environ) != 0) {
        giveUp("cannot start " + command[0]);
    }
    close(input[0]);
    close(output[1]);
    std::array<char, 16> answer{};
    const bool shown = read(output[0], answer.data(), answer.size() - 1) > 0;
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
    if (!shown || answer.data() != std::string(greeting)) {
        giveUp(command[0] + " shows no window");
    }
    const Sample sample{time.count(), proportionalMebibytes(child)};
    close(input[1]);
    close(output[0]);
    waitpid(child, nullptr, 0);
    posix_spawn_file_actions_destroy(&actions);
    return sample;
}

double median(const std::vector<Sample>& samples, double Sample::*field) {
    std::vector<double> values;
    for (const Sample& sample : samples) {
        values.push_back(sample.*field);
    }
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
}

bool report(const char* what, const char* unit, double pane, double bare) {
    std::printf("%-18s pane %6.1f %s, bare window %6.1f %s: %.2f times as much (at most %.2f)\n",
                what, pane, unit, bare, unit, pane / bare, limit);
    return pane <= limit * bare;
}

} // namespace

int main(int count, char** arguments) {
    std::signal(SIGPIPE, SIG_IGN);
    const std::string bundle = count > 1 ? arguments[1] : PANE_BUNDLE;
    std::string root = std::filesystem::temp_directory_path() / "tessaline-bench-XXXXXX";
    if (!mkdtemp(root.data())) {
        giveUp("no temporary folder");
    }
    const std::vector<std::string> paneCommand = {WINDOW_PROGRAMS "/PaneWindow", root, bundle};
    const std::vector<std::string> bareCommand = {WINDOW_PROGRAMS "/BareWindow"};
    std::vector<Sample> panes;
    std::vector<Sample> bares;
    measure(paneCommand); // both once unmeasured, to have the files in memory
    measure(bareCommand);
    for (int round = 0; round < rounds; ++round) {
        panes.push_back(measure(paneCommand));
        bares.push_back(measure(bareCommand));
    }
    std::filesystem::remove_all(root);
    const bool quick = report("time until drawn", "ms", median(panes, &Sample::milliseconds),
                              median(bares, &Sample::milliseconds));
    const bool small = report("memory", "MiB", median(panes, &Sample::mebibytes),
                              median(bares, &Sample::mebibytes));
    return quick && small ? 0 : 1;
}
