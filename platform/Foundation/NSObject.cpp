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
    observations.push_back({keyPath, observer.get(), observer, options, context, {}});
}

void NSObject::removeObserver(const NSObject& observer, const std::string& keyPath) {
    std::erase_if(observations, [&](const Observation& each) {
        return each.observer == &observer && each.key == keyPath && each.boundKey.empty();
    });
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

    std::erase_if(observations, [](const Observation& each) { return each.life.expired(); });
    const auto told = observations; // an observer may come or go while it is told
    for (const Observation& each : told) {
        const auto keep = each.life.lock();
        if (!keep || each.key != key) {
            continue;
        }
        NSObject& observer = *each.observer;
        if (!each.boundKey.empty()) {
            if (newValue) {
                observer.setValueForKey(*newValue, each.boundKey);
            }
            continue;
        }
        NSKeyValueChange change;
        if ((each.options & NSKeyValueObservingOptionOld) != 0) {
            change.oldValue = oldValue;
        }
        if ((each.options & NSKeyValueObservingOptionNew) != 0) {
            change.newValue = newValue;
        }
        observer.observeValueForKeyPath(key, *this, change, each.context);
    }
}

void NSObject::bind(const std::string& key, NSObject& object, const std::string& keyPath) {
    object.observations.push_back({keyPath, this, life, 0, nullptr, key});
}

std::optional<PropertyList> NSObject::valueIfKnown(const std::string& key) const {
    try {
        return valueForKey(key);
    } catch (const NSException&) {
        return std::nullopt;
    }
}
