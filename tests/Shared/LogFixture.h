// A test's own log: the one instance as good as new, and its files in the test's folder.
#pragma once

#include "Foundation/NSFileManager.h"
#include "Shared/QVLog.h"
#include "support/TestMachine.h"

#include <fstream>

template <class Base>
class WithLog : public Base {
protected:
    using Lines = std::vector<std::string>;

    WithLog() { reset(); }
    ~WithLog() override { reset(); }

    static void reset() {
        QVLog::finishWriting();
        auto& log = QVLog::sharedController();
        log.setFileHandle(nullptr);
        log.setAppName(std::nullopt);
        log.setLoggingDisabled(false);
        log.setBytesInQueue(0);
    }
    std::string file(int generation, const std::string& name = "App") const {
        return folder + "/" + name + "." + std::to_string(generation) + ".log";
    }
    /// The messages of a log file, without header and dates.
    static Lines messagesIn(const std::string& path) {
        Lines messages;
        std::ifstream text(path);
        for (std::string line; std::getline(text, line);) {
            if (line.size() >= 28 && line.compare(25, 3, " - ") == 0) {
                messages.push_back(line.substr(28));
            }
        }
        return messages;
    }
    Lines console() const { return this->machine->consoleLines(); }

    const std::string folder = this->machine->root() + "/Users/anna/Library/Logs/Quorvane";
};
