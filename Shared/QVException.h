// One form for the report of a caught exception.
#pragma once

#include "Foundation/NSException.h"
#include "Foundation/NSObject.h"

#include <string>

/// Class operations only; any thread. Neither raises or reports anything of its own.
class QVException : public NSObject {
public:
    QVException() = delete;

    /// Writes one line about the exception to the log and to the console, and returns it. `method`
    /// is the catching method in the form "-[Class selector]".
    static std::string logException(const NSException& exception, const std::string& method);
    /// Whether it is the platform's time-out exception.
    static bool didTimeout(const NSException& exception);
};
