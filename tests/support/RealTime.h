// For tests that run real programs, which take their own time.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <unistd.h>

/// Whether it holds sooner or later; asked no more once it does.
inline bool eventually(const std::function<bool()>& holds) {
    bool held = holds();
    for (int i = 0; i < 3000 && !held; ++i) {
        usleep(10'000);
        held = holds();
    }
    return held;
}

/// Whether the process ends, whoever still has to hear of it.
inline bool ends(pid_t process) {
    return eventually([process] {
        std::ifstream status("/proc/" + std::to_string(process) + "/stat");
        std::string number, name;
        char state = 'Z';
        status >> number >> name >> state;
        return state == 'Z';
    });
}

/// How much of something to try: the environment's number, or so much.
inline int amount(const char* variable, int usual) {
    const char* text = std::getenv(variable);
    return text != nullptr ? std::atoi(text) : usual;
}

inline auto entries(const std::string& folder) {
    const std::filesystem::directory_iterator all(folder);
    return std::distance(begin(all), end(all));
}
