#include "Foundation/NSDictionary.h"

#include "Foundation/NSPropertyList.h"

#include <algorithm>

namespace {

constexpr std::size_t mostLookedThrough = 16;

std::size_t hashOf(const std::string& key) { return std::hash<std::string>()(key); }

} // namespace

NSDictionary::NSDictionary(std::initializer_list<std::pair<std::string, PropertyList>> list) {
    for (const auto& [key, value] : list) {
        setObject(value, key);
    }
}

/// The number of entries for a missing key.
std::size_t NSDictionary::placeOfKey(const std::string& key) const {
    const auto isHere = [&](std::size_t place) { return entries[place].first == key; };
    std::size_t place = 0;
    if (places.empty()) {
        while (place < entries.size() && !isHere(place)) {
            ++place;
        }
        return place;
    }
    const auto [first, last] = places.equal_range(hashOf(key));
    const auto found =
        std::find_if(first, last, [&](const auto& entry) { return isHere(entry.second); });
    return found != last ? found->second : entries.size();
}

/// Takes note of the entries from a place on.
void NSDictionary::note(std::size_t place) {
    if (entries.size() <= mostLookedThrough) {
        places.clear();
        return;
    }
    for (place = places.empty() ? 0 : place; place < entries.size(); ++place) {
        places.emplace(hashOf(entries[place].first), place);
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

void NSDictionary::setObject(PropertyList value, const std::string& key) {
    const auto place = placeOfKey(key);
    if (place < entries.size()) {
        entries[place].second = std::move(value);
    } else {
        entries.emplace_back(key, std::move(value));
        note(place);
    }
}

void NSDictionary::removeObjectForKey(const std::string& key) {
    const auto place = placeOfKey(key);
    if (place < entries.size()) {
        entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(place));
        places.clear();
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
