#include "SystemConfiguration/SCDynamicStore.h"

#include "Foundation/Machine.h"

std::optional<std::string> SCDynamicStoreCopyConsoleUser() {
    return Machine::current().consoleUser();
}
