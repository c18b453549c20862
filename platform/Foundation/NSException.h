// The one kind of exception that this layer raises.
#pragma once

#include <exception>
#include <functional>
#include <new>
#include <optional>
#include <string>
#include <system_error>

constexpr const char* NSInvalidArgumentException = "NSInvalidArgumentException";
constexpr const char* NSInternalInconsistencyException = "NSInternalInconsistencyException";
constexpr const char* NSUndefinedKeyException = "NSUndefinedKeyException";
constexpr const char* NSParseErrorException = "NSParseErrorException";
constexpr const char* NSFileHandleOperationException = "NSFileHandleOperationException";

class NSException : public std::exception {
public:
    NSException(std::optional<std::string> name, std::optional<std::string> reason)
        : nameText(std::move(name)), reasonText(std::move(reason)) {}

    const std::optional<std::string>& name() const { return nameText; }
    const std::optional<std::string>& reason() const { return reasonText; }
    const char* what() const noexcept override {
        return reasonText ? reasonText->c_str() : "(null)";
    }

private:
    std::optional<std::string> nameText;
    std::optional<std::string> reasonText;
};

/// Runs `work`; what the system refuses it, memory included, is raised as an NSException of that
/// name.
template <class Work>
auto raisingSystemErrors(const std::string& name, const Work& work) {
    try {
        return work();
    } catch (const std::system_error& error) {
        throw NSException(name, error.what());
    } catch (const std::bad_alloc&) {
        throw NSException(name, "There is not enough memory");
    }
}

/// Runs `work`. What it raises is written to the console and goes no further: for the places where
/// nobody could catch it, a thread's end or the turn of an event loop.
void reportExceptions(const std::function<void()>& work);
