// The machine that the options describe.
#pragma once

#include "host/Options.h"
#include "System/Machine.h"

#include <memory>

/// A sandbox in the root folder, made if missing, or the real machine. Raises
/// NSInvalidArgumentException with a line for the user when the folder cannot be written.
std::shared_ptr<Machine> makeMachine(const Options& options);

/// Makes the folders of the user's home that have been there on a Mac since the first login. A
/// failure shows in what needs them.
void makeHomeFolders();
