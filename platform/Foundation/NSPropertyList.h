// Property lists as values: what the settings files, bundles and reports are made of.
#pragma once

#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

class PropertyList;

using NSArray = std::vector<PropertyList>;
using NSData = std::vector<std::uint8_t>;
/// To the second, as the XML form has it; far past and far future included.
using NSDate = std::chrono::sys_seconds;

/// A dictionary that keeps its keys in the order in which they came.
class NSDictionary {
    using Entries = std::vector<std::pair<std::string, PropertyList>>;

public:
    NSDictionary() = default;
    NSDictionary(std::initializer_list<std::pair<std::string, PropertyList>> entries);

    /// None for a missing key. Valid until the dictionary changes or goes.
    const PropertyList* objectForKey(const std::string& key) const&;
    const PropertyList* objectForKey(const std::string& key) const&& = delete;
    /// The text under a key; none when there is no such text.
    std::optional<std::string> stringForKey(const std::string& key) const;
    /// Replaces the value in its place, or adds the key at the end.
    void setObject(PropertyList value, const std::string& key);
    void removeObjectForKey(const std::string& key);

    std::size_t count() const;
    Entries::const_iterator begin() const;
    Entries::const_iterator end() const;

    /// Equality looks at keys and values, not at their order.
    bool operator==(const NSDictionary& other) const;

private:
    Entries entries;
};

/// A whole number of the platform's range: 64 bits, signed or unsigned.
struct NSInteger64 {
    std::int64_t value = 0;
    bool isUnsigned = false; // the bits stand for a value beyond the signed range

    bool operator==(const NSInteger64&) const = default;
};

/// A reference of an archive; carried along, never interpreted.
struct NSPropertyListUID {
    std::uint64_t value = 0;
    bool operator==(const NSPropertyListUID&) const = default;
};

/// One value of a property list.
class PropertyList {
public:
    using Value = std::variant<bool, NSInteger64, double, std::string, NSData, NSDate, NSArray,
                               NSDictionary, NSPropertyListUID>;

    PropertyList(bool value) : value(value) {}
    PropertyList(int number) : value(NSInteger64{number}) {}
    PropertyList(std::int64_t number) : value(NSInteger64{number}) {}
    PropertyList(NSInteger64 number) : value(number) {}
    PropertyList(double number) : value(number) {}
    PropertyList(const char* text) : value(std::string(text)) {}
    PropertyList(std::string text) : value(std::move(text)) {}
    PropertyList(NSData data) : value(std::move(data)) {}
    PropertyList(NSDate date) : value(date) {}
    PropertyList(NSArray array) : value(std::move(array)) {}
    PropertyList(NSDictionary dictionary) : value(std::move(dictionary)) {}
    PropertyList(NSPropertyListUID reference) : value(reference) {}

    /// The value as one kind, or none when it is of another.
    const std::string* string() const { return std::get_if<std::string>(&value); }
    const NSArray* array() const { return std::get_if<NSArray>(&value); }
    const NSDictionary* dictionary() const { return std::get_if<NSDictionary>(&value); }
    const bool* boolean() const { return std::get_if<bool>(&value); }

    /// The value as a number: a boolean counts as 0 or 1, a real as itself, text that reads as a
    /// whole number as that number; anything else is none.
    std::optional<double> number() const;
    /// The same as a whole number, a real truncated toward zero.
    std::optional<std::int64_t> integer() const;

    bool operator==(const PropertyList&) const = default;

    Value value;
};

// Here, because they need to know the size of an entry.
inline std::size_t NSDictionary::count() const { return entries.size(); }
inline NSDictionary::Entries::const_iterator NSDictionary::begin() const { return entries.begin(); }
inline NSDictionary::Entries::const_iterator NSDictionary::end() const { return entries.end(); }

/// Reads a list in any of the three forms: XML, binary, the old text form.
/// Raises NSParseErrorException for anything else, text cut short included.
PropertyList propertyListFromData(const std::string& bytes);
/// The XML form.
std::string xmlDataFromPropertyList(const PropertyList& list);

/// None when the file is missing, unreadable or no dictionary; never raises.
std::optional<NSDictionary> dictionaryWithContentsOfFile(const std::string& path);
/// Writes the XML form as writeFileAtomically does (NSFileManager.h). False on failure.
bool writeDictionaryToFile(const NSDictionary& dictionary, const std::string& path);
