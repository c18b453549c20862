#include "AsciiXML.h"

#include "Foundation/NSString.h"
#include "System/UTF8.h"

std::string asciiXML(std::string_view xml) {
    constexpr char32_t replacement = 0xFFFD;
    std::string ascii;
    ascii.reserve(xml.size());
    for (std::size_t position = 0; position < xml.size();) {
        const auto length = utf8SequenceLength(xml, position);
        if (length == 1) {
            ascii += xml[position];
        } else {
            ascii += stringWithFormat("&#x%x;", length != 0 ? utf8Character(xml, position, length)
                                                            : replacement);
        }
        position += length != 0 ? length : 1;
    }
    return ascii;
}
