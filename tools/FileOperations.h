// What the helper does for a panel that has leave to change files, and nothing else: the operations
// of its support library, spelled as that one spells them.
#pragma once

#include "Security/AuthorizationProtocol.h"

#include <string>

/// Whether the request names such an operation. `ownTools` is the folder of the stand-ins that the
/// helper was installed with.
bool isFileOperation(const AuthorizationProtocol::Request& request, const std::string& ownTools);
