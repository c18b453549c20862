// Reads the old text form of property lists, the one that people write by hand:
//     { name = "some text"; list = ( a, b ); data = <0fbd77>; }   // and comments
// as well as the form of string tables, which is a dictionary without its braces. Every value is a
// text, data, an array or a dictionary.
#pragma once

#include "Foundation/NSPropertyList.h"

#include <cstddef>
#include <string>
#include <string_view>

class NSOldStylePropertyListParser {
public:
    /// Containers may lie inside one another up to `depthLimit` deep.
    NSOldStylePropertyListParser(std::string_view text, int depthLimit)
        : text(text), depthLimit(depthLimit) {}

    /// The whole text as one list. Raises NSParseErrorException, naming the line, for text that is
    /// none; a text without any value is none.
    PropertyList parse();

private:
    PropertyList parseValue(int depth);
    NSDictionary parseEntries(int depth, char end);
    /// After the key has been read, at the "=" or at the semicolon that may stand for it.
    void parseEntry(NSDictionary& dictionary, const std::string& key, int depth);
    NSArray parseArray(int depth);
    NSData parseData();
    std::string parseString();
    std::string parseQuoted(char quote);
    std::string parseUnquoted();
    void parseEscape(std::string& result);
    /// Up to `count` digits of a base; none of them is an error.
    unsigned parseDigits(unsigned base, int count);

    bool atEnd() const { return position == text.size(); }
    char peek() const { return atEnd() ? '\0' : text[position]; }
    bool skip(char character);
    void expect(char character);
    void skipBlanksAndComments();
    [[noreturn]] void fail(const std::string& problem) const;

    std::string_view text;
    const int depthLimit;
    std::size_t position = 0;
};
