// The machine as it is: its accounts, its processes, its folders, its bus.
#pragma once

#include "System/Machine.h"
#include "System/UserAccount.h"

class RealMachine : public Machine {
public:
    explicit RealMachine(AuthorizationMode mode = AuthorizationMode::system);

    uid_t realUserID() const override;
    std::string userName() const override;
    std::optional<std::string> consoleUser() const override;
    std::string homeDirectory() const override;
    std::optional<std::string> homeDirectoryForUser(const std::string& name) const override;
    std::string root() const override { return ""; }
    std::string temporaryDirectory() const override;
    std::vector<RunningProcess> processes() const override;
    std::string programForTool(const std::string& path) const override;
    std::unique_ptr<LaunchedProcess> launch(const LaunchRequest& request) override;
    AuthorizationMode authorizationMode() const override { return mode; }
    std::string sessionBusAddress() const override;
    void console(std::string_view line) override;

protected:
    /// Where temporaryDirectory is to be.
    virtual std::string temporaryPath() const;

private:
    /// Looked up at the start, since a look-up that fails later would move the user's folders.
    const std::optional<UserAccount> account;
    const AuthorizationMode mode;
};
