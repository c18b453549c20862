#include "JobTrust.h"

#include "Failure.h"
#include "System/Machine.h"
#include "System/TrustedPath.h"

#include <cstdlib>
#include <system_error>

void requireTrustedProgram(const Job& job) {
    // In a sandbox nothing is for every user.
    const char* sandbox = std::getenv("TESSALINE_ROOT");
    if (!job.isSuperusers || (sandbox != nullptr && *sandbox != '\0')) {
        return;
    }
    try {
        requireTrustedPath(job.program, Machine::current().realUserID());
    } catch (const std::system_error& error) {
        // What is not there is no danger, and who tries to start it says so.
        if (error.code() != std::errc::no_such_file_or_directory) {
            fail("%@ is not run: Cannot reach %@: %@", job.label, job.program,
                 error.code().message());
        }
    } catch (const UntrustedPath& untrusted) {
        fail("%@ is not run: %@ could be changed by other users; make it the superuser's, and "
             "nobody else's to write",
             job.label, untrusted.path());
    }
}
