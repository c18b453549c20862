#include "Foundation/NSStringEncoding.h"

#include "System/TextConversion.h"

std::optional<std::string> stringWithData(const NSData& bytes, NSStringEncoding encoding) {
    std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    const bool little = text.starts_with("\xFF\xFE");
    switch (encoding) {
    case NSASCIIStringEncoding:
        return utf8FromEncoding("ASCII", text);
    case NSUTF8StringEncoding:
        return utf8FromEncoding("UTF-8", text);
    case NSISOLatin1StringEncoding:
        return utf8FromEncoding("ISO-8859-1", text);
    case NSUTF16StringEncoding:
        text.remove_prefix(little || text.starts_with("\xFE\xFF") ? 2 : 0);
        return utf8FromEncoding(little ? "UTF-16LE" : "UTF-16BE", text);
    }
    return std::nullopt;
}
