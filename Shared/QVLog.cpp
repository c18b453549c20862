#include "Shared/QVLog.h"

#include "Foundation/NSBundle.h"
#include "Foundation/NSDate.h"
#include "Foundation/NSException.h"
#include "Foundation/NSFileManager.h"
#include "Foundation/NSLog.h"
#include "Foundation/NSProcessInfo.h"
#include "Foundation/NSString.h"
#include "Shared/QVLogFiles.h"
#include "System/FileReading.h"
#include "System/FileReplacement.h"
#include "System/Machine.h"

namespace {

constexpr std::size_t mostBytes = 499'999; // of entries in one file
constexpr std::size_t shortMessage = 99;   // in characters
constexpr std::size_t mostKept = 65536;    // bytes of a line's memory for the next one

/// One lock for the making of the instance, as a monitor on the class would be.
std::recursive_mutex& monitor() {
    static auto* instance = new std::recursive_mutex;
    return *instance;
}

/// Set while this thread runs an operation of the queue.
thread_local bool isWriter = false;

class WriterScope {
public:
    WriterScope() { isWriter = true; }
    ~WriterScope() { isWriter = false; }
    WriterScope(const WriterScope&) = delete;
    WriterScope& operator=(const WriterScope&) = delete;
};

std::string header(const void* ownCode) {
    const auto bundle = NSBundle::bundleForCode(ownCode);
    const auto version = bundle ? bundle->infoString("CFBundleVersion") : std::nullopt;
    const auto path = bundle ? bundle->executablePath() : std::nullopt;
    constexpr double kilo = 0.0009765625;
    const double gigabytes = static_cast<double>(physicalMemory()) * kilo * kilo * kilo;
    std::string text =
        stringWithFormat("Log started: %@\n", descriptionOfDate(Machine::current().clock().date()));
    if (version) {
        text += stringWithFormat("Version: %@\n", version);
    }
    if (path) {
        text += stringWithFormat("Path: %@\n", path);
    }
    text += stringWithFormat("System: OS X %@, %i CPU(s), %0.2f GB RAM\n",
                             operatingSystemVersionString(), processorCount(), gigabytes);
    text += sizeof(void*) == 8 ? "Running in 64-bit mode\n" : "Running in 32-bit mode\n";
    return text;
}

/// Writes what is still queued at the program's end.
struct WriteAtExit {
    ~WriteAtExit() { NSOperationQueue::drainAll(); } // with the lines about the log itself
};

} // namespace

std::atomic<QVLog*> QVLog::sharedLog = nullptr;

QVLog& QVLog::sharedController() {
    if (QVLog* const log = sharedLog) {
        return *log; // without the lock, since every message asks for the log
    }
    std::lock_guard lock(monitor());
    allocWithZone();
    static const WriteAtExit atExit;
    return *sharedLog;
}

QVLog* QVLog::allocWithZone() {
    std::lock_guard lock(monitor());
    if (sharedLog != nullptr) {
        return nullptr;
    }
    sharedLog = new QVLog;
    return sharedLog;
}

QVLog::QVLog() : queue(std::make_shared<NSOperationQueue>()) {}

QVLog::~QVLog() {
    if (const auto writer = writeQueue()) {
        writer->waitUntilAllOperationsAreFinished();
    }
}

void QVLog::queueMessage(std::string text) {
    auto message = stringByTrimmingWhitespaceAndNewlines(std::move(text));
    const auto length = lengthInCharacters(message);
    QVLog& log = sharedController();
    const auto waiting = log.queuedCharacters += length;
    const bool waits = length > 0 && length <= shortMessage && waiting <= shortMessage;
    const auto writer = log.writeQueue();
    writer->addOperation(
        [message = std::move(message)] {
            const WriterScope scope;
            appendLogOnThread(message);
        },
        waits);
    if (waits) {
        writer->waitUntilAllOperationsAreFinished();
    }
}

void QVLog::printAndQueue(const std::string& text) {
    queueMessage(text);
    NSLog("%@", text);
}

void QVLog::finishWriting() {
    sharedController().writeQueue()->waitUntilAllOperationsAreFinished();
}

void QVLog::appendLogOnThread(const std::string& message) {
    QVLog& log = sharedController();
    if (log.loggingDisabled()) {
        return;
    }
    try {
        log.writeEntry(message);
    } catch (const NSException& exception) {
        if (!log.loggingDisabled()) {
            NSLog("Exception writing to log: %@", exception.reason());
        }
    }
}

void QVLog::writeEntry(const std::string& message) {
    if (const auto file = currentFile()) {
        const auto date = descriptionOfDate(Machine::current().clock().date());
        line.assign(isTorn() ? "\n" : "").append(date).append(" - ").append(message).append("\n");
        failed = true;
        file->writeData(line);
        failed = false;
        writtenBytes += line.size();
        if (line.capacity() > mostKept) {
            line.clear();
            line.shrink_to_fit();
        }
        if (writtenBytes > mostBytes) {
            createNewLog(appName());
            appendLog("Log truncated at 500KB");
        }
    } else {
        NSLog("Unable to log the following information: %@", message);
        NSLog("Unable to open log for output");
    }
    queuedCharacters -= lengthInCharacters(message);
}

/// Whether a write that failed has left the beginning of a line.
bool QVLog::isTorn() const {
    return failed && !contentsOfFile(generationPath(1)).value_or("\n").ends_with('\n');
}

void QVLog::createNewLog(const std::optional<std::string>& name) {
    QVLog& log = sharedController();
    if (isWriter) {
        log.startFile(name);
        return;
    }
    // On the queue, the change of files has its place among the messages: those before it go to the
    // old file, those after it to the new one.
    log.writeQueue()->addOperation(
        [&log, &name] {
            const WriterScope scope;
            log.startFile(name);
        },
        true);
    finishWriting();
}

void QVLog::startFile(const std::optional<std::string>& newName) {
    setFileHandle(nullptr);
    if (isLoggingSwitchedOff()) {
        NSLog("Logging is disabled");
        setLoggingDisabled(true);
        return;
    }
    {
        std::lock_guard lock(mutex);
        name = name ? name : newName;
    }
    setBytesWritten(0);
    const auto& files = NSFileManager::defaultManager();
    const auto folder = logFolder();
    const auto path = generationPath(1);
    if (!files.fileExistsAtPath(folder) && !files.createDirectoryAtPath(folder)) {
        NSLog("Unable to create folder %@.", folder);
        return;
    }
    if (files.fileExistsAtPath(path) && !rotate()) {
        return;
    }
    const auto ownCode = reinterpret_cast<const void*>(&QVLog::finishWriting);
    if (const auto problem = writeFileAtomically(header(ownCode), path, Flush::later)) {
        NSLog("Unable to create log file %@ - %@", path, problem->what());
        return;
    }
    failed = false;
    currentFile();
}

/// Moves every generation on by one; false when a move failed.
bool QVLog::rotate() const {
    const auto& files = NSFileManager::defaultManager();
    if (files.fileExistsAtPath(generationPath(oldestLogGeneration))) {
        files.removeItemAtPath(generationPath(oldestLogGeneration));
    }
    for (int generation = oldestLogGeneration - 1; generation > 0; --generation) {
        const auto from = generationPath(generation);
        const auto to = generationPath(generation + 1);
        // The current file keeps its place until the new one takes it: a program that is ended in
        // between leaves one to write to.
        const bool moved = generation == 1 && files.linkItemAtPath(from, to);
        if (!moved && files.fileExistsAtPath(from) && !files.moveItemAtPath(from, to)) {
            NSLog("Unable to move file %@ to %@", from, to);
            return false;
        }
    }
    return true;
}

/// The one that is open, else the current one, opened at its end; none when that cannot be had.
std::shared_ptr<NSFileHandle> QVLog::currentFile() {
    auto file = fileHandle();
    if (!file) {
        file = NSFileHandle::fileHandleForAppendingAtPath(generationPath(1));
        setFileHandle(file);
    }
    return file;
}

std::string QVLog::generationPath(int generation) const {
    return logFolder() + "/" + logFileName(appName(), generation);
}

std::string QVLog::appName() const {
    std::lock_guard lock(mutex);
    return name ? *name : nameOfLoggedProgram();
}

void QVLog::setAppName(std::optional<std::string> newName) {
    std::lock_guard lock(mutex);
    name = std::move(newName);
}

std::shared_ptr<NSFileHandle> QVLog::fileHandle() const {
    std::lock_guard lock(mutex);
    return handle;
}

void QVLog::setFileHandle(std::shared_ptr<NSFileHandle> newHandle) {
    std::lock_guard lock(mutex);
    handle = std::move(newHandle);
}

std::shared_ptr<NSOperationQueue> QVLog::writeQueue() const { return queue; }
