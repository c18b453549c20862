// Property lists as values: what the settings files, bundles and reports are made of.
#pragma once

#include "Foundation/NSDate.h"
#include "Foundation/NSDictionary.h"

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

using NSArray = std::vector<PropertyList>;
using NSData = std::vector<std::uint8_t>;

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
