#include "Foundation/NSObject.h"

#include "Foundation/NSException.h"

#include <algorithm>

PropertyList NSObject::valueForKey(const std::string& key) const {
    throw NSException(NSUndefinedKeyException, "This object has no value for the key " + key);
}

void NSObject::setValueForKey(const PropertyList&, const std::string& key) {
    throw NSException(NSUndefinedKeyException, "This object takes no value for the key " + key);
}

void NSObject::observeValueForKeyPath(const std::string& keyPath, NSObject&,
                                      const NSKeyValueChange&, void*) {
    throw NSException(NSInternalInconsistencyException,
                      "A change of " + keyPath + " was received but not handled");
}

void NSObject::addObserver(const std::shared_ptr<NSObject>& observer, const std::string& keyPath,
                           unsigned options, void* context) {
    observations[keyPath].add(observer.get(), observer, {observer.get(), options, context, {}});
}

void NSObject::removeObserver(const NSObject& observer, const std::string& keyPath) {
    const auto found = observations.find(keyPath);
    if (found == observations.end()) {
        return;
    }
    found->second.remove(&observer, [](const Observation& each) { return each.boundKey.empty(); });
    if (found->second.isEmpty()) {
        observations.erase(found);
    }
}

void NSObject::willChangeValueForKey(const std::string& key) {
    pending.push_back({key, valueIfKnown(key)});
}

void NSObject::didChangeValueForKey(const std::string& key) {
    const auto begun = std::find_if(pending.rbegin(), pending.rend(),
                                    [&](const Pending& each) { return each.key == key; });
    if (begun == pending.rend()) {
        throw NSException(NSInternalInconsistencyException,
                          "The change of " + key + " ended but never began");
    }
    const auto oldValue = begun->oldValue;
    pending.erase(std::next(begun).base());
    const auto newValue = valueIfKnown(key);

    const auto found = observations.find(key);
    if (found != observations.end()) {
        found->second.tellAll([&](const Observation& each) {
            tell(each, key, {oldValue, newValue});
        });
    }
}

void NSObject::tell(const Observation& observation, const std::string& key,
                    const NSKeyValueChange& all) {
    NSObject& observer = *observation.observer;
    if (!observation.boundKey.empty()) {
        if (all.newValue) {
            observer.setValueForKey(*all.newValue, observation.boundKey);
        }
        return;
    }
    NSKeyValueChange change;
    if ((observation.options & NSKeyValueObservingOptionOld) != 0) {
        change.oldValue = all.oldValue;
    }
    if ((observation.options & NSKeyValueObservingOptionNew) != 0) {
        change.newValue = all.newValue;
    }
    observer.observeValueForKeyPath(key, *this, change, observation.context);
}

void NSObject::bind(const std::string& key, NSObject& object, const std::string& keyPath) {
    object.observations[keyPath].add(this, life, {this, 0, nullptr, key});
}

std::optional<PropertyList> NSObject::valueIfKnown(const std::string& key) const {
    try {
        return valueForKey(key);
    } catch (const NSException&) {
        return std::nullopt;
    }
}
