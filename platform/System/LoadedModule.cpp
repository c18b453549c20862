#include "System/LoadedModule.h"

#include "System/ProcessList.h"

#include <dlfcn.h>
#include <filesystem>
#include <link.h>

std::string moduleOfCode(const void* address) {
    Dl_info info{};
    link_map* module = nullptr;
    if (dladdr1(address, &info, reinterpret_cast<void**>(&module), RTLD_DL_LINKMAP) == 0) {
        return "";
    }
    // The loader has no name for the program itself but what its starter called it.
    const std::string name = module && module->l_name ? module->l_name : "";
    std::error_code error;
    return std::filesystem::canonical(name.empty() ? executableOfThisProcess() : name, error)
        .string();
}
