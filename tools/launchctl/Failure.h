// How launchctl gives up: with one sentence for the person who called it.
#pragma once

#include "Foundation/NSException.h"
#include "Foundation/NSString.h"

/// Fills the sentence as stringWithFormat does, and raises it.
template <class... Arguments>
[[noreturn]] void fail(const std::string& format, const Arguments&... arguments) {
    throw NSException(NSInvalidArgumentException, stringWithFormat(format, arguments...));
}
