// Whether what stands at a path can be changed by others.
#pragma once

#include <stdexcept>
#include <string>
#include <sys/types.h>

/// Its sentence says what to do.
class UntrustedPath : public std::runtime_error {
public:
    explicit UntrustedPath(const std::string& path)
        : runtime_error(path + " could be changed by other users; make it the superuser's, and "
                               "nobody else's to write"),
          untrusted(path) {}
    const std::string& path() const { return untrusted; }

private:
    std::string untrusted;
};

/// Raises UntrustedPath for a file, or a folder or link on its way, that could be written by
/// somebody who is neither the superuser nor `user`; std::system_error when it cannot be reached.
void requireTrustedPath(const std::string& path, uid_t user);
