#include "Foundation/NSPropertyListSerialization.h"

#include "Foundation/NSException.h"
#include "Foundation/NSOldStylePropertyListParser.h"
#include "Foundation/NSString.h"
#include "System/BinaryPropertyListCheck.h"
#include "System/FileReading.h"
#include "System/FileReplacement.h"
#include "System/PlainNumbers.h"
#include "System/PropertyListError.h"
#include "System/PropertyListText.h"
#include "System/TextConversion.h"
#include "System/UTF8.h"
#include "System/XMLPropertyListCheck.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <plist/plist.h>
#include <utility>

namespace {

/// Deep enough for any list that means something, and safe for the stack of any thread.
constexpr int depthLimit = 512;

/// A list of libplist's.
struct FreeNode {
    void operator()(void* node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, FreeNode>;

struct FreeMemory {
    void operator()(char* memory) const { std::free(memory); }
};
using Memory = std::unique_ptr<char, FreeMemory>;

Node nodeFromXML(const std::string& xml) {
    plist_t node = nullptr;
    plist_from_xml(xml.data(), static_cast<std::uint32_t>(xml.size()), &node);
    return Node(node);
}

std::string xmlOfNode(plist_t node) {
    char* bytes = nullptr;
    std::uint32_t length = 0;
    plist_to_xml(node, &bytes, &length);
    const Memory memory(bytes);
    return bytes ? std::string(bytes, length) : std::string();
}

std::string binaryOfNode(plist_t node) {
    char* bytes = nullptr;
    std::uint32_t length = 0;
    plist_to_bin(node, &bytes, &length);
    const Memory memory(bytes);
    return bytes ? std::string(bytes, length) : std::string();
}

/// XML has no way for most control characters and for two others, and a reader may take a carriage
/// return for a line feed.
bool survivesXML(const std::string& text) {
    return std::none_of(
               text.begin(), text.end(),
               [](unsigned char byte) { return byte < ' ' && byte != '\t' && byte != '\n'; }) &&
           text.find("\xEF\xBF\xBE") == std::string::npos &&
           text.find("\xEF\xBF\xBF") == std::string::npos;
}

/// The content of a node's only element, as its XML form has it.
std::string elementText(plist_t node, const std::string& element) {
    const std::string xml = xmlOfNode(node);
    const std::size_t start = xml.find("<" + element + ">");
    return start == std::string::npos ? "" : xml.substr(start + element.size() + 2);
}

/// A node tells the bits of a whole number, not whether they stand for a negative one.
NSInteger64 integerOfNode(plist_t node) {
    std::uint64_t bits = 0;
    plist_get_uint_val(node, &bits);
    const auto value = static_cast<std::int64_t>(bits);
    return {value, value < 0 && !elementText(node, "integer").starts_with('-')};
}

/// A node tells its date in 32 bits, which end in 2069; its XML form has all of them.
NSDate dateOfNode(plist_t node) {
    int year = 0;
    unsigned month = 0;
    unsigned day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    const std::string text = elementText(node, "date");
    const int found = std::sscanf(text.c_str(), "%d-%u-%uT%d:%d:%dZ", &year, &month, &day, &hour,
                                  &minute, &second);
    const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(month),
                                           std::chrono::day(day)};
    PropertyListError::unless(found == 6 && date.ok(), "a date does not exist");
    return std::chrono::sys_days(date) + std::chrono::hours(hour) + std::chrono::minutes(minute) +
           std::chrono::seconds(second);
}

PropertyList listOfNode(plist_t node);

std::string textOfNode(plist_t node) {
    std::uint64_t length = 0;
    const char* const bytes = plist_get_string_ptr(node, &length);
    std::string text(bytes ? bytes : "", bytes ? length : 0);
    // libplist takes over what a binary list has as ASCII, whatever bytes they are.
    return isValidUTF8(text) ? text : utf8FromEncoding("ISO-8859-1", text).value_or("");
}

NSData dataOfNode(plist_t node) {
    std::uint64_t length = 0;
    const char* const bytes = plist_get_data_ptr(node, &length);
    return bytes ? NSData(bytes, bytes + length) : NSData();
}

NSArray arrayOfNode(plist_t node) {
    NSArray array;
    array.reserve(plist_array_get_size(node));
    plist_array_iter iterator = nullptr;
    plist_array_new_iter(node, &iterator);
    const Memory memory(static_cast<char*>(iterator));
    plist_t item = nullptr;
    while (plist_array_next_item(node, iterator, &item), item) {
        array.push_back(listOfNode(item));
    }
    return array;
}

NSDictionary dictionaryOfNode(plist_t node) {
    auto dictionary = NSDictionary::dictionaryWithCapacity(plist_dict_get_size(node));
    plist_dict_iter iterator = nullptr;
    plist_dict_new_iter(node, &iterator);
    const Memory memory(static_cast<char*>(iterator));
    char* key = nullptr;
    plist_t item = nullptr;
    while (plist_dict_next_item(node, iterator, &key, &item), item) {
        const Memory keyMemory(std::exchange(key, nullptr));
        dictionary.setObject(listOfNode(item), keyMemory.get());
    }
    return dictionary;
}

PropertyList listOfNode(plist_t node) {
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        std::uint8_t value = 0;
        plist_get_bool_val(node, &value);
        return value != 0;
    }
    case PLIST_UINT:
        return integerOfNode(node);
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        return value;
    }
    case PLIST_STRING:
        return textOfNode(node);
    case PLIST_ARRAY:
        return arrayOfNode(node);
    case PLIST_DICT:
        return dictionaryOfNode(node);
    case PLIST_DATE:
        return dateOfNode(node);
    case PLIST_DATA:
        return dataOfNode(node);
    case PLIST_UID: {
        std::uint64_t value = 0;
        plist_get_uid_val(node, &value);
        return NSPropertyListUID{value};
    }
    default:
        throw NSException(NSParseErrorException, "No property list: a value is of an unknown kind");
    }
}

/// Makes the node of each kind of value.
class NodeMaker {
public:
    Node make(const PropertyList& list) { return std::visit(*this, list.value); }
    /// Whether all that was made reads the same from XML.
    bool fitsXML() const { return fits; }

    Node operator()(bool value) { return Node(plist_new_bool(value ? 1 : 0)); }
    Node operator()(NSInteger64 number) {
        const auto bits = static_cast<std::uint64_t>(number.value);
        // The versions of libplist do not agree on what the highest bit means.
        if (number.value >= 0) {
            return Node(plist_new_uint(bits));
        }
        const auto digits = number.isUnsigned ? std::to_string(bits) : std::to_string(number.value);
        return nodeFromXML("<plist><integer>" + digits + "</integer></plist>");
    }
    Node operator()(double number) { return Node(plist_new_real(number)); }
    Node operator()(const std::string& text) {
        return Node(plist_new_string(checked(text).c_str()));
    }
    Node operator()(const NSData& data) {
        return Node(plist_new_data(reinterpret_cast<const char*>(data.data()), data.size()));
    }
    Node operator()(NSDate date) {
        const auto days = std::chrono::floor<std::chrono::days>(date);
        const std::chrono::year_month_day day(days);
        const std::chrono::hh_mm_ss time(date - days);
        if (day.year() < std::chrono::year(0) || day.year() > std::chrono::year(9999)) {
            throw NSException(NSInvalidArgumentException,
                              "A property list cannot hold a date before the year 0 or after 9999");
        }
        // libplist writes an earlier year with fewer digits than a date has.
        fits = fits && day.year() >= std::chrono::year(1000);
        char text[96];
        std::snprintf(
            text, sizeof text, "<plist><date>%04d-%02u-%02uT%02d:%02d:%02dZ</date></plist>",
            static_cast<int>(day.year()), static_cast<unsigned>(day.month()),
            static_cast<unsigned>(day.day()), static_cast<int>(time.hours().count()),
            static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()));
        return nodeFromXML(text);
    }
    Node operator()(const NSArray& array) {
        Node node(plist_new_array());
        for (const PropertyList& item : array) {
            plist_array_append_item(node.get(), make(item).release());
        }
        return node;
    }
    Node operator()(const NSDictionary& dictionary) {
        Node node(plist_new_dict());
        for (const auto& [key, value] : dictionary) {
            plist_dict_set_item(node.get(), checked(key).c_str(), make(value).release());
        }
        return node;
    }
    Node operator()(NSPropertyListUID reference) { return Node(plist_new_uid(reference.value)); }

private:
    const std::string& checked(const std::string& text) {
        if (text.find('\0') != std::string::npos || !isValidUTF8(text)) {
            throw NSException(
                NSInvalidArgumentException,
                "A property list cannot hold a zero character, or bytes that are no text");
        }
        fits = fits && survivesXML(text);
        return text;
    }

    bool fits = true;
};

PropertyList listOfBytes(std::string bytes) {
    constexpr std::size_t limit = 1U << 30U;
    PropertyListError::unless(bytes.size() < limit, "it is too large");
    const PlainNumbers plainNumbers;
    plist_t node = nullptr;
    if (bytes.starts_with("bplist")) {
        checkBinaryPropertyList(bytes, depthLimit);
        plist_from_bin(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &node);
    } else {
        std::string text = textOfPropertyList(std::move(bytes));
        if (!isXMLPropertyList(text)) {
            return NSOldStylePropertyListParser(text, depthLimit).parse();
        }
        checkXMLPropertyList(text, depthLimit);
        plist_from_xml(text.data(), static_cast<std::uint32_t>(text.size()), &node);
    }
    const Node owner(node);
    PropertyListError::unless(node != nullptr, "an element is damaged");
    return listOfNode(node);
}

} // namespace

PropertyList propertyListFromData(std::string data) {
    try {
        return listOfBytes(std::move(data));
    } catch (const PropertyListError& error) {
        throw NSException(NSParseErrorException, std::string("No property list: ") + error.what());
    } catch (const std::bad_alloc&) {
        throw NSException(NSParseErrorException,
                          "A property list that takes more memory than there is");
    }
}

std::string xmlDataFromPropertyList(const PropertyList& list) {
    const PlainNumbers plainNumbers;
    return xmlOfNode(NodeMaker().make(list).get());
}

std::string dataFromPropertyList(const PropertyList& list) {
    const PlainNumbers plainNumbers;
    NodeMaker maker;
    const Node node = maker.make(list);
    return maker.fitsXML() ? xmlOfNode(node.get()) : binaryOfNode(node.get());
}

namespace {

/// None for bytes that are no dictionary.
std::optional<NSDictionary> dictionaryOfBytes(std::string bytes) {
    try {
        PropertyList list = propertyListFromData(std::move(bytes));
        auto* const dictionary = std::get_if<NSDictionary>(&list.value);
        return dictionary ? std::optional(std::move(*dictionary)) : std::nullopt;
    } catch (const NSException&) {
        return std::nullopt;
    }
}

} // namespace

std::optional<NSDictionary> dictionaryWithContentsOfFile(const std::string& path) {
    std::optional<std::string> bytes = contentsOfFile(path);
    return bytes ? dictionaryOfBytes(*std::move(bytes)) : std::nullopt;
}

NSDictionary dictionaryToChangeAtPath(const std::string& path) {
    std::optional<std::string> bytes = contentsOfFile(path);
    if (!bytes && errno != ENOENT && errno != ENOTDIR) {
        throw NSException(NSFileHandleOperationException,
                          "Cannot read " + path + ": " + std::strerror(errno));
    }
    return bytes ? dictionaryOfBytes(*std::move(bytes)).value_or(NSDictionary()) : NSDictionary();
}

bool writeDictionaryToFile(const NSDictionary& dictionary, const std::string& path) {
    try {
        return !writeFileAtomically(dataFromPropertyList(dictionary), path);
    } catch (const NSException&) {
        return false;
    }
}
