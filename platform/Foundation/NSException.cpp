#include "Foundation/NSException.h"

#include "Foundation/NSLog.h"

void reportExceptions(const std::function<void()>& work) {
    try {
        work();
    } catch (const NSException& exception) {
        NSLog("Uncaught exception: %@ - %@", exception.name(), exception.reason());
    } catch (const std::exception& exception) {
        NSLog("Uncaught exception: %@", exception.what());
    }
}
