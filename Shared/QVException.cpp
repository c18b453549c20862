#include "Shared/QVException.h"

#include "Foundation/NSLog.h"
#include "Foundation/NSString.h"
#include "Shared/QVLog.h"

std::string QVException::logException(const NSException& exception, const std::string& method) {
    auto line =
        stringWithFormat("Exception in %s. %@ - %@.", method, exception.name(), exception.reason());
    QVLog::appendLog("%@", line);
    NSLog("%@", line);
    return line;
}

bool QVException::didTimeout(const NSException& exception) {
    return exception.name() == "NSPortTimeoutException";
}
