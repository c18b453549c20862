// Dates as text.
#pragma once

#include "Foundation/NSPropertyList.h"

#include <string>

/// Local time with its offset from UTC: "2026-11-16 21:45:07 +0100". Any thread.
std::string descriptionOfDate(NSDate date);
