#include "AsciiXML.h"

#include "Foundation/NSString.h"
#include "System/UTF8.h"

std::string asciiXML(std::string_view xml) {
    std::string ascii;
    ascii.reserve(xml.size());
    for (const char32_t character : utf8Characters(xml)) {
        if (character < 0x80) {
            ascii += static_cast<char>(character);
        } else {
            ascii += stringWithFormat("&#x%x;", character);
        }
    }
    return ascii;
}
