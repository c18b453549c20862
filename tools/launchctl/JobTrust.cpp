#include "JobTrust.h"

#include "Failure.h"
#include "Foundation/Machine.h"
#include "Foundation/TrustedPath.h"

#include <cstdlib>

void requireTrustedProgram(const Job& job) {
    // In a sandbox nothing is for every user.
    const char* sandbox = std::getenv("TESSALINE_ROOT");
    if (!job.isSuperusers || (sandbox != nullptr && *sandbox != '\0')) {
        return;
    }
    try {
        requireTrustedPath(job.program, Machine::current().realUserID());
    } catch (const NSException& exception) {
        fail("%@ is not run: %@", job.label, exception.what());
    }
}
