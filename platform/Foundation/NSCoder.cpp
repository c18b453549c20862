#include "Foundation/NSCoder.h"

namespace {

constexpr const char* classKey = "$class";

} // namespace

Registry<NSCoder::Decoder>& NSCoder::classes() noexcept {
    static constinit Registry<Decoder> classes;
    return classes;
}

void NSCoder::encodeObject(const std::shared_ptr<const NSCoding>& object, const std::string& key) {
    if (!object) {
        return;
    }
    NSCoder coder({{classKey, object->codingClassName()}});
    object->encodeWithCoder(coder);
    entries.setObject(std::move(coder.entries), key);
}

void NSCoder::encodeDouble(double value, const std::string& key) { entries.setObject(value, key); }

std::optional<double> NSCoder::decodeDoubleForKey(const std::string& key) const {
    const PropertyList* value = entries.objectForKey(key);
    return value ? value->number() : std::nullopt;
}

std::shared_ptr<NSCoding> NSCoder::decodeAnyObjectForKey(const std::string& key) const {
    const PropertyList* value = entries.objectForKey(key);
    const NSDictionary* object = value ? value->dictionary() : nullptr;
    const PropertyList* name = object ? object->objectForKey(classKey) : nullptr;
    if (!name || !name->string()) {
        return nullptr;
    }
    Decoder* const decoder = classes().find(*name->string());
    return decoder ? decoder(NSCoder(*object)) : nullptr;
}
