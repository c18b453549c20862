// What is known of a loaded job: a file in the user's runtime folder, parts of which are locked by
// its supervisor. The locks alone tell whether a job is loaded, and by which process: the kernel
// drops them however that process ends, so a killed supervisor leaves nothing behind that could be
// taken for a job.
#pragma once

#include "System/FileDescriptor.h"
#include "System/ProcessDescriptor.h"

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

class SupervisedJob {
public:
    struct Record {
        pid_t process = 0; // 0 while it does not run
        int lastStatus = 0;
    };

    /// None when nobody has loaded it; asking makes no file. Raises when the user has no folder for
    /// it that is safe from others.
    static std::optional<SupervisedJob> find(const std::string& name);
    /// Makes this process the supervisor. One that is ending is waited for, without a bound; one of
    /// another session is told to end. Raises when there is one of this session, or one that waits
    /// already.
    static SupervisedJob take(const std::string& name, const std::string& label);
    /// A supervisor's takes the file away with it.
    ~SupervisedJob();
    SupervisedJob(SupervisedJob&& other) noexcept;
    SupervisedJob& operator=(SupervisedJob&&) = delete;

    /// The processes that keep it and that wait to keep it, as what cannot become another process;
    /// none where there is none.
    FileDescriptor supervisor() const { return holder(keeping); }
    FileDescriptor successor() const { return holder(waiting); }
    bool isKept() const;
    /// Whether it was loaded from a session with another bus than this process's; no process
    /// without a bus finds it so.
    bool isOfAnotherSession() const;
    /// Whether a new supervisor may take the place of the present one.
    bool canBeSucceeded() const;

    Record record() const;
    /// Supervisor only: notes what became of the job, and that it is being unloaded.
    void setRecord(const Record& record);
    void setEnding() { lock(ending); }

    /// Names of all that may be loaded; some may have no supervisor.
    static std::vector<std::string> names();

private:
    /// Bytes of the file that are locked, whether they are there or not. The session that stands in
    /// the file is its supervisor's own once that has locked `named`, not the one of an earlier.
    enum Role : off_t { keeping, waiting, ending, named };

    SupervisedJob(std::string path, FileDescriptor file)
        : path(std::move(path)), file(std::move(file)) {}
    bool lock(Role role);
    void unlock(Role role);
    pid_t holderNumber(Role role) const;
    FileDescriptor holder(Role role) const;
    bool acquire();
    void awaitEnd() const;

    std::string path;
    FileDescriptor file;
    bool isOurs = false;
};
