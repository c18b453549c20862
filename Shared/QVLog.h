// The log of the maker's applications: time-stamped lines in a plain-text file named after the
// running program, in five generations. A background queue does the writing, so that callers do not
// wait for the disk, but for short messages into a nearly empty queue: those are on the disk when
// the call returns. The log's own failures go to the console, never to a caller and never to the
// log.
#pragma once

#include "Foundation/NSFileHandle.h"
#include "Foundation/NSObject.h"
#include "Foundation/NSOperationQueue.h"
#include "Foundation/NSString.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

/// One instance a process, made on first use and never freed. Every operation may be called from
/// any thread.
class QVLog : public NSObject {
public:
    static QVLog& sharedController();

    /// Writes one line: the format filled with the arguments, without white space at its ends.
    /// Nothing happens without a format.
    template <class... Arguments>
    static void appendLog(const std::optional<std::string>& format, const Arguments&... arguments) {
        if (format) {
            queueMessage(stringWithFormat(*format, arguments...));
        }
    }
    /// The same, on the console as well.
    template <class... Arguments>
    static void appendLogAndPrint(const std::optional<std::string>& format,
                                  const Arguments&... arguments) {
        if (format) {
            printAndQueue(
                stringWithFormat(stringByTrimmingWhitespaceAndNewlines(*format), arguments...));
        }
    }
    /// Starts a new file with a header and moves the older ones on by one generation. The first
    /// name given names the files for the life of the process. Returns when it is done, with no
    /// file open when it could not be.
    static void createNewLog(const std::optional<std::string>& name = std::nullopt);
    /// Blocks until every message queued before the call has been written. From the writer itself
    /// it returns at once.
    static void finishWriting();

    /// Unset, the name of the program that this process runs.
    std::string appName() const;
    void setAppName(std::optional<std::string> name);
    std::shared_ptr<NSFileHandle> fileHandle() const;
    void setFileHandle(std::shared_ptr<NSFileHandle> handle);
    /// Of entries in the current file; neither its header nor what it held before.
    std::size_t bytesWritten() const { return writtenBytes; }
    void setBytesWritten(std::size_t count) { writtenBytes = count; }
    std::shared_ptr<NSOperationQueue> writeQueue() const;
    /// In characters, of the messages that the writer has not finished yet.
    std::size_t bytesInQueue() const { return queuedCharacters; }
    void setBytesInQueue(std::size_t count) { queuedCharacters = count; }
    /// Once set by createNewLog, every message is ignored for the rest of the process.
    bool loggingDisabled() const { return disabled; }
    void setLoggingDisabled(bool newState) { disabled = newState; }

    // What keeps the one instance alive.

    /// The new instance, or none when there is one already.
    static QVLog* allocWithZone();
    QVLog* copyWithZone() { return this; }
    QVLog* retain() { return this; }
    QVLog* autorelease() { return this; }
    std::uint64_t retainCount() const { return 4294967295; }
    /// Releases nothing: writes what is queued.
    void release() { finishWriting(); }

private:
    friend class QVLogTest;

    QVLog();
    ~QVLog() override;

    static void queueMessage(std::string text);
    static void printAndQueue(const std::string& text);
    static void appendLogOnThread(const std::string& message);

    std::string generationPath(int generation) const;
    std::shared_ptr<NSFileHandle> currentFile();
    void writeEntry(const std::string& message);
    void startFile(const std::optional<std::string>& name);
    bool rotate() const;
    bool isTorn() const;

    static std::atomic<QVLog*> sharedLog;

    std::optional<std::string> name;
    std::shared_ptr<NSFileHandle> handle;
    std::atomic<std::size_t> writtenBytes{0};
    const std::shared_ptr<NSOperationQueue> queue;
    std::atomic<std::size_t> queuedCharacters{0};
    std::atomic<bool> disabled{false};
    mutable std::mutex mutex; // guards name and handle
    // The writer's own:
    std::string line;    // its memory serves every line
    bool failed = false; // the last write did
};
