// The name under which an engine keeps a job: its label, made safe for unit and file names, and the
// sandbox it belongs to, so that the jobs of two sandboxes never meet.
#pragma once

#include <optional>
#include <string>

/// "tessaline.job:com.quorvane.Tolvin". Raises for a label too long for the name of a file.
std::string jobNameForLabel(const std::string& label);
/// None for a name of another sandbox, or of no job.
std::optional<std::string> labelForJobName(const std::string& name);
/// What the names of all jobs of this sandbox, and no others, begin with.
std::string jobNamePrefix();
