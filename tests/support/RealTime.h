// For tests that run real programs, which take their own time.
#pragma once

#include <fstream>
#include <functional>
#include <string>
#include <unistd.h>

/// Whether it holds before a machine that is only slow would have given up.
inline bool eventually(const std::function<bool()>& holds) {
    for (int i = 0; i < 3000 && !holds(); ++i) {
        usleep(10'000);
    }
    return holds();
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
