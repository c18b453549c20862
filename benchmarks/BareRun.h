// A run of a tool by the bare system calls.
#pragma once

#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

inline pid_t spawn(const std::vector<std::string>& command, posix_spawn_file_actions_t* actions) {
    std::vector<char*> arguments;
    for (const auto& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    pid_t process = 0;
    posix_spawn(&process, command.front().c_str(), actions, nullptr, arguments.data(), environ);
    return process;
}

/// What it writes to its standard output.
inline std::vector<char> bareOutput(const std::vector<std::string>& command) {
    int ends[2];
    if (pipe(ends) != 0) {
        return {};
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, ends[0]);
    posix_spawn_file_actions_addclose(&actions, ends[1]);
    const pid_t process = spawn(command, &actions);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    std::vector<char> buffer(65536);
    std::vector<char> output;
    ssize_t length = 0;
    while ((length = read(ends[0], buffer.data(), buffer.size())) > 0) {
        output.insert(output.end(), buffer.data(), buffer.data() + length);
    }
    close(ends[0]);
    waitpid(process, nullptr, 0);
    return output;
}
