// Keyed coding: an object writes its fields under keys and reads them back. One coder holds the
// fields of one object.
#pragma once

#include "Foundation/NSPropertyList.h"
#include "System/Registry.h"

#include <memory>
#include <optional>
#include <string>

class NSCoder;

/// An object that can be archived.
class NSCoding {
public:
    virtual ~NSCoding() = default;
    virtual std::string codingClassName() const = 0;
    virtual void encodeWithCoder(NSCoder& coder) const = 0;
};

class NSCoder {
public:
    NSCoder() = default;
    explicit NSCoder(NSDictionary fields) : entries(std::move(fields)) {}

    /// Writes nothing for none.
    void encodeObject(const std::shared_ptr<const NSCoding>& object, const std::string& key);
    void encodeDouble(double value, const std::string& key);
    /// The object under the key, of class `Class`; null if it is absent, damaged or of another
    /// class.
    template <class Class>
    std::shared_ptr<Class> decodeObjectForKey(const std::string& key) const {
        return std::dynamic_pointer_cast<Class>(decodeAnyObjectForKey(key));
    }
    /// None if it is absent or no number.
    std::optional<double> decodeDoubleForKey(const std::string& key) const;

    const NSDictionary& fields() const { return entries; }

    /// Returns null when the fields do not make an object.
    using Decoder = std::shared_ptr<NSCoding>(const NSCoder& coder);
    /// The classes that can be decoded, by their names.
    static Registry<Decoder>& classes() noexcept;

private:
    std::shared_ptr<NSCoding> decodeAnyObjectForKey(const std::string& key) const;

    NSDictionary entries;
};

/// One of these at file level makes a class known to decoding, by its static initWithCoder.
template <class Class>
struct NSCodingClass : Registry<NSCoder::Decoder>::Entry {
    explicit NSCodingClass(const char* name)
        : Entry(NSCoder::classes(), name, [](const NSCoder& coder) -> std::shared_ptr<NSCoding> {
              return Class::initWithCoder(coder);
          }) {}
};
