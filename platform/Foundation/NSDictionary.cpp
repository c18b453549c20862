#include "Foundation/NSDictionary.h"

#include "Foundation/NSPropertyList.h"

#include <algorithm>
#include <bit>
#include <functional>

namespace {

constexpr std::size_t mostLookedThrough = 16;

std::size_t hashOfKey(const std::string& key) { return std::hash<std::string>()(key); }

/// The bits that do not choose the slot.
std::uint32_t tagOfHash(std::size_t hash) { return static_cast<std::uint32_t>(hash >> 32U); }

} // namespace

NSDictionary::NSDictionary(std::initializer_list<std::pair<std::string, PropertyList>> list) {
    for (const auto& [key, value] : list) {
        setObject(value, key);
    }
}

NSDictionary NSDictionary::dictionaryWithCapacity(std::size_t count) {
    NSDictionary dictionary;
    dictionary.entries.reserve(count);
    return dictionary;
}

/// The number of entries for a missing key.
std::size_t NSDictionary::placeOfKey(const std::string& key) const {
    if (!index.empty()) {
        return placeInSlot(slotOfKey(key, hashOfKey(key)));
    }
    std::size_t place = 0;
    while (place < entries.size() && entries[place].first != key) {
        ++place;
    }
    return place;
}

/// The number of entries for a free slot.
std::size_t NSDictionary::placeInSlot(std::size_t slot) const {
    return index[slot].placeAndOne != 0 ? index[slot].placeAndOne - 1 : entries.size();
}

/// The one that has the key's place, or the free one that is to have it.
std::size_t NSDictionary::slotOfKey(const std::string& key, std::size_t hash) const {
    const auto last = index.size() - 1; // all of its bits are set
    const auto isAnothers = [&](const Slot& slot) {
        return slot.placeAndOne != 0 &&
               (slot.tag != tagOfHash(hash) || entries[slot.placeAndOne - 1].first != key);
    };
    auto slot = hash & last;
    while (isAnothers(index[slot])) {
        slot = (slot + 1) & last;
    }
    return slot;
}

/// Takes note of the entries from a place on.
void NSDictionary::note(std::size_t place) {
    if (entries.size() <= mostLookedThrough) {
        index.clear();
        return;
    }
    if (index.size() < 2 * entries.size()) {
        index.assign(std::bit_ceil(2 * entries.capacity()), {});
        place = 0;
    }
    for (; place < entries.size(); ++place) {
        const auto hash = hashOfKey(entries[place].first);
        index[slotOfKey(entries[place].first, hash)] = {static_cast<std::uint32_t>(place + 1),
                                                        tagOfHash(hash)};
    }
}

const PropertyList* NSDictionary::objectForKey(const std::string& key) const& {
    const auto place = placeOfKey(key);
    return place < entries.size() ? &entries[place].second : nullptr;
}

std::optional<std::string> NSDictionary::stringForKey(const std::string& key) const {
    const PropertyList* const value = objectForKey(key);
    const std::string* const text = value ? value->string() : nullptr;
    return text ? std::optional(*text) : std::nullopt;
}

void NSDictionary::setObject(PropertyList value, std::string key) {
    const bool isIndexed = !index.empty();
    const auto hash = isIndexed ? hashOfKey(key) : 0;
    const auto slot = isIndexed ? slotOfKey(key, hash) : 0; // once, since long lists wait for it
    const auto place = isIndexed ? placeInSlot(slot) : placeOfKey(key);
    if (place < entries.size()) {
        entries[place].second = std::move(value);
        return;
    }
    entries.emplace_back(std::move(key), std::move(value));
    if (isIndexed && index.size() >= 2 * entries.size()) {
        index[slot] = {static_cast<std::uint32_t>(entries.size()), tagOfHash(hash)};
    } else {
        note(place);
    }
}

void NSDictionary::removeObjectForKey(const std::string& key) {
    const auto place = placeOfKey(key);
    if (place < entries.size()) {
        entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(place));
        index.clear();
        note(0);
    }
}

bool NSDictionary::operator==(const NSDictionary& other) const {
    return count() == other.count() &&
           std::all_of(entries.begin(), entries.end(), [&](const auto& entry) {
               const PropertyList* const value = other.objectForKey(entry.first);
               return value && *value == entry.second;
           });
}

std::size_t NSDictionary::count() const { return entries.size(); }

NSDictionary::Entries::const_iterator NSDictionary::begin() const { return entries.begin(); }

NSDictionary::Entries::const_iterator NSDictionary::end() const { return entries.end(); }
