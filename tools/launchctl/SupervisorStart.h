// Where supervisors come from: systemd's user manager, which gives each a service with all of its
// processes in it and keeps it apart from the session's own; where there is none, from launchctl
// itself.
#pragma once

#include "Job.h"
#include "System/FileDescriptor.h"

#include <string>

/// Starts "launchctl supervise PATH" for a job with `output` as its standard output.
/// TESSALINE_LAUNCHD_ENGINE ("systemd", "supervisor") demands one of the two ways. Raises when it
/// cannot be started, also when there is a user manager that does not answer: the jobs that it
/// keeps must not be started a second time beside it.
void startSupervisor(const std::string& path, const Job& job, const FileDescriptor& output);
