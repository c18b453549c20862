// A dictionary of property-list values. Include NSPropertyList.h with it, which has the values.
#pragma once

#include <cstdint>
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
    /// Has room for so many entries.
    static NSDictionary dictionaryWithCapacity(std::size_t count);

    /// None for a missing key. Valid until the dictionary changes or goes.
    const PropertyList* objectForKey(const std::string& key) const&;
    const PropertyList* objectForKey(const std::string& key) const&& = delete;
    /// The text under a key; none when there is no such text.
    std::optional<std::string> stringForKey(const std::string& key) const;
    /// Replaces the value in its place, or adds the key at the end.
    void setObject(PropertyList value, std::string key);
    void removeObjectForKey(const std::string& key);

    std::size_t count() const;
    Entries::const_iterator begin() const;
    Entries::const_iterator end() const;

    /// Equality looks at keys and values, not at their order.
    bool operator==(const NSDictionary& other) const;

private:
    /// Where an entry is, found by its key's hash.
    struct Slot {
        std::uint32_t placeAndOne = 0; // 0 for a free slot
        std::uint32_t tag = 0; // more of the hash: other keys are seldom looked at, which is slow
    };

    std::size_t placeOfKey(const std::string& key) const;
    std::size_t slotOfKey(const std::string& key, std::size_t hash) const;
    std::size_t placeInSlot(std::size_t slot) const;
    void note(std::size_t place);

    Entries entries;
    /// Open addressing. Empty while the keys are few enough to look through.
    std::vector<Slot> index;
};
