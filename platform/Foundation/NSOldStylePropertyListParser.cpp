#include "Foundation/NSOldStylePropertyListParser.h"

#include "Foundation/NSException.h"
#include "Foundation/NSString.h"
#include "System/UTF8.h"

#include <algorithm>
#include <optional>

namespace {

bool isBlank(char character) {
    return character == ' ' || (character >= '\t' && character <= '\r');
}

bool isUnquoted(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') ||
           std::string_view("_$/:.-").find(character) != std::string_view::npos;
}

/// The value of a digit, 16 for none.
unsigned digitValue(char character) {
    if (character >= '0' && character <= '9') {
        return static_cast<unsigned>(character - '0');
    }
    const auto lower = static_cast<char>(character | 0x20);
    return lower >= 'a' && lower <= 'f' ? static_cast<unsigned>(lower - 'a') + 10 : 16;
}

bool isFirstSurrogate(unsigned unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool isSecondSurrogate(unsigned unit) { return unit >= 0xDC00 && unit < 0xE000; }

} // namespace

PropertyList NSOldStylePropertyListParser::parse() {
    skipBlanksAndComments();
    if (atEnd()) {
        fail("there is nothing in it");
    }
    PropertyList list = parseValue(0);
    skipBlanksAndComments();
    const std::string* const key = list.string();
    if (key && (peek() == '=' || peek() == ';')) {
        NSDictionary table;
        parseEntry(table, *key, 0);
        for (const auto& [name, value] : parseEntries(0, '\0')) {
            table.setObject(value, name);
        }
        return table;
    }
    if (!atEnd()) {
        fail("there is something after its end");
    }
    return list;
}

PropertyList NSOldStylePropertyListParser::parseValue(int depth) {
    skipBlanksAndComments();
    if (depth > depthLimit) {
        fail("it is nested too deep");
    }
    if (skip('{')) {
        NSDictionary dictionary = parseEntries(depth + 1, '}');
        expect('}');
        return dictionary;
    }
    if (skip('(')) {
        return parseArray(depth + 1);
    }
    if (skip('<')) {
        return parseData();
    }
    return parseString();
}

NSDictionary NSOldStylePropertyListParser::parseEntries(int depth, char end) {
    NSDictionary dictionary;
    skipBlanksAndComments();
    while (end == '\0' ? !atEnd() : peek() != end) {
        const std::string key = parseString();
        skipBlanksAndComments();
        parseEntry(dictionary, key, depth);
        skipBlanksAndComments();
    }
    return dictionary;
}

void NSOldStylePropertyListParser::parseEntry(NSDictionary& dictionary, const std::string& key,
                                              int depth) {
    if (skip(';')) {
        dictionary.setObject(key, key);
        return;
    }
    expect('=');
    PropertyList value = parseValue(depth);
    skipBlanksAndComments();
    expect(';');
    dictionary.setObject(std::move(value), key);
}

NSArray NSOldStylePropertyListParser::parseArray(int depth) {
    NSArray array;
    skipBlanksAndComments();
    while (!skip(')')) {
        array.push_back(parseValue(depth));
        skipBlanksAndComments();
        if (!skip(',') && peek() != ')') {
            fail("\",\" or \")\" is missing");
        }
        skipBlanksAndComments();
    }
    return array;
}

NSData NSOldStylePropertyListParser::parseData() {
    NSData data;
    skipBlanksAndComments();
    while (!skip('>')) {
        const unsigned high = parseDigits(16, 1);
        data.push_back(static_cast<std::uint8_t>(high << 4U | parseDigits(16, 1)));
        skipBlanksAndComments();
    }
    return data;
}

std::string NSOldStylePropertyListParser::parseString() {
    const char first = peek();
    if (first == '"' || first == '\'') {
        ++position;
        return parseQuoted(first);
    }
    return parseUnquoted();
}

std::string NSOldStylePropertyListParser::parseQuoted(char quote) {
    std::string result;
    while (!skip(quote)) {
        if (atEnd()) {
            fail("a quoted text does not end");
        }
        if (skip('\\')) {
            parseEscape(result);
        } else {
            result.push_back(text[position++]);
        }
    }
    return result;
}

void NSOldStylePropertyListParser::parseEscape(std::string& result) {
    if (digitValue(peek()) < 8) {
        appendUTF8(result, parseDigits(8, 3));
        return;
    }
    if (skip('U')) {
        unsigned unit = parseDigits(16, 4);
        if (isFirstSurrogate(unit) && text.substr(position, 2) == "\\U") {
            position += 2;
            const unsigned second = parseDigits(16, 4);
            if (!isSecondSurrogate(second)) {
                fail("a character stands for half of another");
            }
            unit = 0x10000 + ((unit - 0xD800) << 10U) + (second - 0xDC00);
        }
        if (unit >= 0xD800 && unit < 0xE000) {
            fail("a character stands for half of another");
        }
        appendUTF8(result, unit);
        return;
    }
    if (atEnd()) {
        fail("a quoted text does not end");
    }
    static constexpr std::string_view letters = "abfnrtv";
    static constexpr std::string_view meanings = "\a\b\f\n\r\t\v";
    const std::size_t index = letters.find(text[position]);
    result.push_back(index == std::string_view::npos ? text[position] : meanings[index]);
    ++position;
}

std::string NSOldStylePropertyListParser::parseUnquoted() {
    const std::size_t start = position;
    while (!atEnd() && isUnquoted(text[position])) {
        ++position;
    }
    if (position == start) {
        fail(atEnd() ? "it is cut short" : "a character is out of place");
    }
    return std::string(text.substr(start, position - start));
}

unsigned NSOldStylePropertyListParser::parseDigits(unsigned base, int count) {
    unsigned value = 0;
    const std::size_t start = position;
    while (count-- > 0 && digitValue(peek()) < base) {
        value = value * base + digitValue(text[position++]);
    }
    if (position == start) {
        fail("a digit is missing");
    }
    return value;
}

bool NSOldStylePropertyListParser::skip(char character) {
    if (atEnd() || text[position] != character) {
        return false;
    }
    ++position;
    return true;
}

void NSOldStylePropertyListParser::expect(char character) {
    if (!skip(character)) {
        fail(std::string("\"") + character + "\" is missing");
    }
}

void NSOldStylePropertyListParser::skipBlanksAndComments() {
    while (!atEnd()) {
        if (isBlank(text[position])) {
            ++position;
        } else if (text.substr(position, 2) == "//") {
            position = std::min(text.find_first_of("\r\n", position), text.size());
        } else if (text.substr(position, 2) == "/*") {
            const std::size_t end = text.find("*/", position + 2);
            if (end == std::string_view::npos) {
                fail("a comment does not end");
            }
            position = end + 2;
        } else {
            return;
        }
    }
}

void NSOldStylePropertyListParser::fail(const std::string& problem) const {
    const auto before = text.substr(0, position);
    const auto line = 1 + std::count(before.begin(), before.end(), '\n');
    throw NSException(NSParseErrorException,
                      stringWithFormat("No property list: %@ (line %d)", problem, line));
}
