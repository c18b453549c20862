#include "Foundation/NSDictionary.h"

#include "Foundation/NSPropertyList.h"

#include <algorithm>

NSDictionary::NSDictionary(std::initializer_list<std::pair<std::string, PropertyList>> list) {
    for (const auto& [key, value] : list) {
        setObject(value, key);
    }
}

const PropertyList* NSDictionary::objectForKey(const std::string& key) const& {
    const auto entry = std::find_if(entries.begin(), entries.end(),
                                    [&](const auto& candidate) { return candidate.first == key; });
    return entry != entries.end() ? &entry->second : nullptr;
}

std::optional<std::string> NSDictionary::stringForKey(const std::string& key) const {
    const PropertyList* const value = objectForKey(key);
    const std::string* const text = value ? value->string() : nullptr;
    return text ? std::optional(*text) : std::nullopt;
}

void NSDictionary::setObject(PropertyList value, const std::string& key) {
    const auto entry = std::find_if(entries.begin(), entries.end(),
                                    [&](const auto& candidate) { return candidate.first == key; });
    if (entry != entries.end()) {
        entry->second = std::move(value);
    } else {
        entries.emplace_back(key, std::move(value));
    }
}

void NSDictionary::removeObjectForKey(const std::string& key) {
    std::erase_if(entries, [&](const auto& entry) { return entry.first == key; });
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
