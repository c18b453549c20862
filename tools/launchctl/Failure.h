// What launchctl says, and how it gives up: with one sentence for the person who called it.
#pragma once

#include "Foundation/NSException.h"
#include "Foundation/NSLocalizedString.h"
#include "Foundation/NSString.h"

/// Fills the sentence as stringWithFormat does, in the user's language.
template <class... Arguments>
std::string sentence(const std::string& format, const Arguments&... arguments) {
    return stringWithFormat(NSLocalizedString(format), arguments...);
}

/// Raises the sentence.
template <class... Arguments>
[[noreturn]] void fail(const std::string& format, const Arguments&... arguments) {
    throw NSException(NSInvalidArgumentException, sentence(format, arguments...));
}
