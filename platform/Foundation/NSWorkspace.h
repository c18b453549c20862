// What the desktop makes of files.
#pragma once

#include <string>

class NSWorkspace {
public:
    static NSWorkspace& sharedWorkspace();

    /// Whether a folder passes for one file, as applications and plug-ins do: by its extension, or
    /// by an information file where bundles keep theirs. False for anything that is no folder. Any
    /// thread.
    bool isFilePackageAtPath(const std::string& path) const;
};
