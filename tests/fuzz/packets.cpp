// Packets to the helper that runs as the superuser.
#include "FileOperations.h"
#include "Require.h"

using namespace AuthorizationProtocol;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const auto request = decode(bytes);
    if (!request) {
        return 0;
    }
    require(encode(*request) == bytes); // one request, one spelling
    if (isFileOperation(*request, "/tools")) {
        require(request->path.starts_with("/bin/") || request->path.starts_with("/usr/bin/") ||
                request->path.starts_with("/tools/"));
        const auto& last = request->arguments.back();
        require(last.starts_with('/') && (last + "/").find("/../") == last.npos);
    }
    return 0;
}
