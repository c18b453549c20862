#include "System/UTF8.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

std::size_t utf8SequenceLength(std::string_view text, std::size_t position) {
    const auto byte = [&](std::size_t index) {
        return position + index < text.size() ? static_cast<unsigned char>(text[position + index])
                                              : 0U;
    };
    const unsigned lead = byte(0);
    const auto continues = [&](std::size_t index) { return (byte(index) & 0xC0U) == 0x80U; };
    if (lead < 0x80) {
        return 1;
    }
    if (lead >= 0xC2 && lead <= 0xDF) {
        return continues(1) ? 2 : 0;
    }
    if (lead >= 0xE0 && lead <= 0xEF) {
        const bool overlong = lead == 0xE0 && byte(1) < 0xA0;
        const bool surrogate = lead == 0xED && byte(1) > 0x9F;
        return continues(1) && continues(2) && !overlong && !surrogate ? 3 : 0;
    }
    if (lead >= 0xF0 && lead <= 0xF4) {
        const bool overlong = lead == 0xF0 && byte(1) < 0x90;
        const bool beyond = lead == 0xF4 && byte(1) > 0x8F;
        return continues(1) && continues(2) && continues(3) && !overlong && !beyond ? 4 : 0;
    }
    return 0;
}

char32_t utf8Character(std::string_view text, std::size_t position, std::size_t length) {
    const auto lead = static_cast<unsigned char>(text[position]);
    if (length == 1) {
        return lead;
    }
    char32_t value = lead & (0x7FU >> length);
    for (std::size_t index = 1; index < length; ++index) {
        value = (value << 6U) | (static_cast<unsigned char>(text[position + index]) & 0x3FU);
    }
    return value;
}

std::u32string utf8Characters(std::string_view text) {
    constexpr char32_t replacement = 0xFFFD;
    std::u32string characters;
    for (std::size_t position = 0; position < text.size();) {
        const auto length = utf8SequenceLength(text, position);
        characters += length > 0 ? utf8Character(text, position, length) : replacement;
        position += std::max<std::size_t>(length, 1);
    }
    return characters;
}

void appendUTF8(std::string& text, char32_t character) {
    const auto append = [&](char32_t byte) { text.push_back(static_cast<char>(byte)); };
    if (character < 0x80) {
        append(character);
    } else if (character < 0x800) {
        append(0xC0U | (character >> 6U));
        append(0x80U | (character & 0x3FU));
    } else {
        if (character < 0x10000) {
            append(0xE0U | (character >> 12U));
        } else {
            append(0xF0U | (character >> 18U));
            append(0x80U | ((character >> 12U) & 0x3FU));
        }
        append(0x80U | ((character >> 6U) & 0x3FU));
        append(0x80U | (character & 0x3FU));
    }
}

std::size_t asciiPrefix(std::string_view text) {
    std::size_t position = 0;
    for (std::uint64_t eight = 0; position + sizeof eight <= text.size();
         position += sizeof eight) {
        std::memcpy(&eight, text.data() + position, sizeof eight);
        if ((eight & 0x8080808080808080U) != 0) {
            break;
        }
    }
    return position;
}

bool isValidUTF8(std::string_view bytes) {
    std::size_t position = 0;
    while (position < bytes.size()) {
        const auto ascii = asciiPrefix(bytes.substr(position));
        const auto length = ascii != 0 ? ascii : utf8SequenceLength(bytes, position);
        if (length == 0) {
            return false;
        }
        position += length;
    }
    return true;
}
