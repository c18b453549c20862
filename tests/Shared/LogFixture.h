// A test's own log: the one instance as good as new, and its files in the test's folder.
#pragma once

#include "Foundation/NSFileManager.h"
#include "Shared/QVLog.h"
#include "support/TestMachine.h"

#include <algorithm>

template <class Base>
class WithLog : public Base {
protected:
    WithLog() { reset(); }
    ~WithLog() override { reset(); }

    static void reset() {
        QVLog::finishWriting();
        auto& log = QVLog::sharedController();
        log.setFileHandle(nullptr);
        log.setAppName(std::nullopt);
        log.setLoggingDisabled(false);
        log.setBytesWritten(0);
        log.setBytesInQueue(0);
    }
    std::string file(int generation, const std::string& name = "App") const {
        return folder() + "/" + name + "." + std::to_string(generation) + ".log";
    }
    virtual std::string folder() const {
        return this->machine->root() + "/Users/anna/Library/Logs/Quorvane";
    }
    static std::vector<std::string> linesOf(const std::string& path) {
        std::vector<std::string> lines;
        const auto text = contentsOfFile(path).value_or("");
        for (std::size_t start = 0; start < text.size();) {
            const auto end = std::min(text.find('\n', start), text.size());
            lines.push_back(text.substr(start, end - start));
            start = end + 1;
        }
        return lines;
    }
    /// The messages of a log file, without header and dates.
    static std::vector<std::string> messagesIn(const std::string& path) {
        std::vector<std::string> messages;
        for (const auto& line : linesOf(path)) {
            if (line.size() >= 28 && line.compare(25, 3, " - ") == 0) {
                messages.push_back(line.substr(28));
            }
        }
        return messages;
    }
    std::vector<std::string> console() const { return this->machine->consoleLines(); }
};
