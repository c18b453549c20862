#include "System/SandboxMachine.h"

#include <algorithm>
#include <filesystem>
#include <utility>

SandboxMachine::SandboxMachine(std::string root, AuthorizationMode mode)
    : RealMachine(mode), rootPath(std::filesystem::weakly_canonical(std::move(root)).string()) {}

std::optional<std::string> SandboxMachine::consoleUser() const { return userName(); }

std::string SandboxMachine::homeDirectory() const { return rootPath + "/Users/" + userName(); }

std::optional<std::string> SandboxMachine::homeDirectoryForUser(const std::string& name) const {
    return rootPath + "/Users/" + name;
}

std::string SandboxMachine::temporaryPath() const { return homeDirectory() + "/tmp"; }

std::vector<RunningProcess> SandboxMachine::processes() const {
    auto all = RealMachine::processes();
    std::erase_if(all, [this](const RunningProcess& process) {
        return !process.executablePath.starts_with(rootPath + "/");
    });
    return all;
}
