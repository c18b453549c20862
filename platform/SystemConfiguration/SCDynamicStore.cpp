#include "SystemConfiguration/SCDynamicStore.h"

#include "System/Machine.h"

std::optional<std::string> SCDynamicStoreCopyConsoleUser() {
    return Machine::current().consoleUser();
}
