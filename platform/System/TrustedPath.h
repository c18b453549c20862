// Whether what stands at a path can be changed by others.
#pragma once

#include <string>
#include <sys/types.h>

/// Raises a std::runtime_error, with a sentence that says what to do, when a file or any folder or
/// link on its way could be written by somebody who is neither the superuser nor `user`, and when
/// it cannot be reached.
void requireTrustedPath(const std::string& path, uid_t user);
