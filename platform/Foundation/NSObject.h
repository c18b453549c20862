// Key-value observing: an object says when a value changes, others hear of it.
#pragma once

#include "Foundation/NSPropertyList.h"
#include "System/ObserverList.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// What an observer may ask to be told.
enum NSKeyValueObservingOptions : unsigned {
    NSKeyValueObservingOptionNew = 1,
    NSKeyValueObservingOptionOld = 2,
};

struct NSKeyValueChange {
    std::optional<PropertyList> oldValue, newValue;
};

/// The base of whatever is observed or observes. One thread at a time.
class NSObject {
public:
    NSObject() = default;
    virtual ~NSObject() = default;
    NSObject(const NSObject&) = delete;
    NSObject& operator=(const NSObject&) = delete;

    /// Raises NSUndefinedKeyException unless overridden for the key.
    virtual PropertyList valueForKey(const std::string& key) const;
    virtual void setValueForKey(const PropertyList& value, const std::string& key);

    /// Called in an observer. The base class knows no key and raises
    /// NSInternalInconsistencyException.
    virtual void observeValueForKeyPath(const std::string& keyPath, NSObject& object,
                                        const NSKeyValueChange& change, void* context);

    /// The observer is not kept alive; it is forgotten once it is gone.
    void addObserver(const std::shared_ptr<NSObject>& observer, const std::string& keyPath,
                     unsigned options, void* context);
    /// Does nothing for an observer that is not registered. May be called from its destructor.
    void removeObserver(const NSObject& observer, const std::string& keyPath);
    /// Brackets a change. Calls may nest; every didChange tells the observers, in the order in
    /// which they registered.
    void willChangeValueForKey(const std::string& key);
    void didChangeValueForKey(const std::string& key);

    /// Follows another object's value one way: whenever it announces `keyPath`, this object's
    /// setValueForKey takes the new value for `key`. Until this object is gone.
    void bind(const std::string& key, NSObject& object, const std::string& keyPath);

private:
    struct Observation {
        NSObject* observer;
        unsigned options;
        void* context;
        std::string boundKey; // of a binding, else empty
    };
    struct Pending {
        std::string key;
        std::optional<PropertyList> oldValue;
    };
    std::optional<PropertyList> valueIfKnown(const std::string& key) const;
    void tell(const Observation& observation, const std::string& key, const NSKeyValueChange& all);

    std::map<std::string, ObserverList<Observation>> observations; // by key
    std::vector<Pending> pending;
    std::shared_ptr<void> life = std::make_shared<char>();
};
