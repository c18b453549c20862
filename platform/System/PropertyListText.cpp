#include "System/PropertyListText.h"

#include "System/PropertyListError.h"
#include "System/TextConversion.h"
#include "System/UTF8.h"

#include <algorithm>
#include <optional>
#include <strings.h>

namespace {

/// The encoding that an XML text says it is in; empty for none.
std::string declaredEncoding(std::string_view text) {
    const auto declaration = text.substr(0, std::min(text.find("?>"), text.size()));
    const auto name = declaration.find("encoding");
    const auto quote = declaration.find_first_of("\"'", name);
    if (!text.starts_with("<?xml") || name == std::string_view::npos ||
        quote == std::string_view::npos) {
        return "";
    }
    const auto end = declaration.find(declaration[quote], quote + 1);
    return std::string(declaration.substr(quote + 1, end - quote - 1));
}

/// The encoding that the first bytes of a text are in; empty for one that has ASCII in it.
std::string encodingOfStart(std::string_view bytes) {
    if (bytes.starts_with("\xFE\xFF") || bytes.starts_with(std::string_view("\0<", 2))) {
        return "UTF-16BE";
    }
    const bool little =
        bytes.starts_with("\xFF\xFE") || bytes.starts_with(std::string_view("<\0", 2));
    return little ? "UTF-16LE" : "";
}

} // namespace

std::string textOfPropertyList(std::string bytes) {
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    bytes.erase(0, bytes.starts_with(mark) ? mark.size() : 0);
    std::string encoding = encodingOfStart(bytes);
    if (encoding.empty()) {
        encoding = declaredEncoding(bytes);
    }
    const bool isUTF8 = encoding.empty() || strcasecmp(encoding.c_str(), "UTF-8") == 0;
    if (isUTF8 && isValidUTF8(bytes)) {
        return bytes; // the same memory, since lists can be long
    }
    auto text = isUTF8 ? std::nullopt : utf8FromEncoding(encoding, bytes);
    if (!text && !bytes.starts_with("<")) {
        text = utf8FromEncoding("ISO-8859-1", bytes);
    }
    PropertyListError::unless(text.has_value(), "its text is not in its encoding");
    return text->starts_with(mark) ? text->substr(mark.size()) : std::move(*text);
}

bool isXMLPropertyList(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    for (const std::string_view start : {"<?", "<!", "<plist"}) {
        if (text.starts_with(start)) {
            return true;
        }
    }
    return false;
}
