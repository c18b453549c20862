// Which programs of other people's jobs are run.
#pragma once

#include "Job.h"

/// Raises, with a sentence that says what to do, for a job of the superuser's, which runs for every
/// user, whose program this user cannot reach or a third one could change.
void requireTrustedProgram(const Job& job);
