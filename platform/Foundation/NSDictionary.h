// A dictionary of property-list values. Include NSPropertyList.h with it, which has the values.
#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

class PropertyList;

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

/// None when the file is missing, unreadable or no dictionary; never raises.
std::optional<NSDictionary> dictionaryWithContentsOfFile(const std::string& path);
/// What a file holds that is about to be changed: nothing where there is no file, or none with a
/// dictionary in it. Raises NSFileHandleOperationException when it is there and cannot be read, so
/// that nothing in it is lost.
NSDictionary dictionaryToChangeAtPath(const std::string& path);
/// Writes the XML form, or the binary one where XML would lose something, as writeFileAtomically
/// does (System/FileReplacement.h). False on failure.
bool writeDictionaryToFile(const NSDictionary& dictionary, const std::string& path);
