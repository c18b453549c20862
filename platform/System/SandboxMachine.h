// A machine whose whole Mac-shaped disk lies under one folder: `root/Library`,
// `root/Applications`, `root/Users/<user>/Library` and so on. Processes are those that run from
// inside that folder.
#pragma once

#include "System/RealMachine.h"

class SandboxMachine : public RealMachine {
public:
    explicit SandboxMachine(std::string root, AuthorizationMode mode = AuthorizationMode::grant);

    std::optional<std::string> consoleUser() const override;
    std::string homeDirectory() const override;
    std::optional<std::string> homeDirectoryForUser(const std::string& name) const override;
    std::string root() const override { return rootPath; }
    std::vector<RunningProcess> processes() const override;

protected:
    std::string temporaryPath() const override;

private:
    const std::string rootPath;
};
