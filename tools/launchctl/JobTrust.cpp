#include "JobTrust.h"

#include "Failure.h"
#include "System/Machine.h"
#include "System/TrustedPath.h"

#include <cstdlib>

void requireTrustedProgram(const Job& job) {
    // In a sandbox nothing is for every user.
    const char* sandbox = std::getenv("TESSALINE_ROOT");
    if (!job.isSuperusers || (sandbox != nullptr && *sandbox != '\0')) {
        return;
    }
    try {
        requireTrustedPath(job.program, Machine::current().realUserID());
    } catch (const std::exception& exception) {
        fail("%@ is not run: %@", job.label, exception.what());
    }
}
