// An authorization to try things with.
#pragma once

#include "Security/Authorization.h"
#include "support/TestMachine.h"

class AuthorizationTest : public RealTimeMachineTest {
protected:
    AuthorizationTest() { AuthorizationCreate(nullptr, nullptr, 0, &ref); }
    ~AuthorizationTest() override { AuthorizationFree(ref, kAuthorizationFlagDefaults); }

    static constexpr AuthorizationFlags interactive = 19, withoutDialog = 18;

    OSStatus copyRights(AuthorizationFlags flags = interactive,
                        const AuthorizationEnvironment* environment = nullptr) const {
        return AuthorizationCopyRights(ref, {{kAuthorizationRightExecute, {}, 0}}, environment,
                                       flags);
    }
    OSStatus execute(const std::string& tool, const std::vector<std::string>& arguments) const {
        return AuthorizationExecuteWithPrivileges(ref, tool, 0, arguments, nullptr);
    }
    /// What the tool printed, or its error in angle brackets.
    std::string outputOf(const std::string& tool, const std::vector<std::string>& arguments) const {
        AuthorizationStream stream;
        const auto status = AuthorizationExecuteWithPrivileges(ref, tool, 0, arguments, &stream);
        std::string text = stream ? "" : "<" + std::to_string(status) + ">";
        for (int byte = 0; stream && (byte = std::getc(stream.get())) != EOF;) {
            text += static_cast<char>(byte);
        }
        return text;
    }

    AuthorizationRef ref = nullptr;
};
