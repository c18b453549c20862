#include "Foundation/PropertyListCheck.h"

#include <cstdint>
#include <vector>

namespace {

constexpr std::size_t headerSize = 8;
constexpr std::size_t trailerSize = 32;
/// What a list may take in memory when every reference is laid out on its own.
constexpr std::uint64_t sizeLimit = 256U << 20U;
constexpr std::uint64_t sizePerObject = 128;

class BinaryCheck {
public:
    BinaryCheck(std::string_view bytes, int depthLimit) : bytes(bytes), depthLimit(depthLimit) {}

    void run() {
        requireOfPropertyList(bytes.size() >= headerSize + trailerSize, "it is cut short");
        requireOfPropertyList(bytes.starts_with("bplist00"), "its version is unknown");
        const std::size_t trailer = bytes.size() - trailerSize;
        offsetSize = number(trailer + 6, 1);
        referenceSize = number(trailer + 7, 1);
        objectCount = number(trailer + 8, 8);
        const std::uint64_t top = number(trailer + 16, 8);
        table = number(trailer + 24, 8);
        requireOfPropertyList(offsetSize >= 1 && offsetSize <= 8 && referenceSize >= 1 &&
                                  referenceSize <= 8,
                              "its trailer is damaged");
        requireOfPropertyList(table >= headerSize && table < trailer && objectCount > 0 &&
                                  objectCount <= trailer / offsetSize &&
                                  table + objectCount * offsetSize == trailer && top < objectCount,
                              "its trailer is damaged");
        sizes.assign(objectCount, 0);
        sizeOf(top, 0);
    }

private:
    static constexpr std::uint64_t beingMeasured = UINT64_MAX;

    /// A big-endian number; the caller knows that it lies within the bytes.
    std::uint64_t number(std::uint64_t position, std::uint64_t size) const {
        std::uint64_t value = 0;
        for (std::uint64_t index = 0; index < size; ++index) {
            value = value << 8U | static_cast<unsigned char>(bytes[position + index]);
        }
        return value;
    }

    /// What an object takes in memory with everything in it.
    std::uint64_t sizeOf(std::uint64_t object, int depth) {
        requireOfPropertyList(object < objectCount, "a reference leads nowhere");
        requireOfPropertyList(sizes[object] != beingMeasured, "an object contains itself");
        requireOfPropertyList(depth < depthLimit, "it is nested too deep");
        if (sizes[object] != 0) {
            return sizes[object];
        }
        sizes[object] = beingMeasured;
        const std::uint64_t size = measure(number(table + object * offsetSize, offsetSize), depth);
        requireOfPropertyList(size <= sizeLimit, "it is too large");
        return sizes[object] = size;
    }

    std::uint64_t measure(std::uint64_t position, int depth) {
        requireOfPropertyList(position >= headerSize && position < table, "an object lies outside");
        const std::uint64_t marker = number(position++, 1);
        const std::uint64_t kind = marker >> 4U;
        const std::uint64_t info = marker & 0xFU;
        const bool isDictionary = kind == 0xD;
        const bool isContainer = isDictionary || kind == 0xA;
        const bool hasCount = isContainer || (kind >= 0x4 && kind <= 0x7);
        if (!hasCount) {
            return sizePerObject;
        }
        const std::uint64_t count = info == 0xF ? longCount(position) : info;
        requireOfPropertyList(count < table, "an object is cut short");
        if (!isContainer) {
            return sizePerObject + 2 * count;
        }
        const std::uint64_t references = isDictionary ? 2 * count : count;
        requireOfPropertyList(references <= (table - position) / referenceSize,
                              "a container is cut short");
        std::uint64_t size = sizePerObject;
        for (std::uint64_t index = 0; index < references && size <= sizeLimit; ++index) {
            const auto object = number(position + index * referenceSize, referenceSize);
            size += sizeOf(object, depth + 1);
            if (isDictionary && index < count) {
                checkKey(number(table + object * offsetSize, offsetSize));
            }
        }
        return size;
    }

    /// The library ends the program over a key that is longer than its text seems.
    void checkKey(std::uint64_t position) const {
        const std::uint64_t marker = number(position++, 1);
        const std::uint64_t kind = marker >> 4U;
        const std::uint64_t width = kind == 0x5 ? 1 : 2;
        requireOfPropertyList(kind == 0x5 || kind == 0x6, "a key is no text");
        const std::uint64_t info = marker & 0xFU;
        const std::uint64_t count = info == 0xF ? longCount(position) : info;
        requireOfPropertyList(count <= (table - position) / width, "a key is cut short");
        for (std::uint64_t index = 0; index < count; ++index) {
            requireOfPropertyList(number(position + index * width, width) != 0,
                                  "a key has a zero in it");
        }
    }

    /// A count that is an object of its own, after which `position` stands.
    std::uint64_t longCount(std::uint64_t& position) const {
        requireOfPropertyList(position < table, "an object is cut short");
        const std::uint64_t marker = number(position++, 1);
        const std::uint64_t size = 1ULL << (marker & 0xFU);
        requireOfPropertyList(marker >> 4U == 1 && size <= 8 && size <= table - position,
                              "a count is damaged");
        const std::uint64_t count = number(position, size);
        position += size;
        return count;
    }

    std::string_view bytes;
    const int depthLimit;
    std::uint64_t offsetSize = 0;
    std::uint64_t referenceSize = 0;
    std::uint64_t objectCount = 0;
    std::uint64_t table = 0;
    std::vector<std::uint64_t> sizes;
};

} // namespace

void checkBinaryPropertyList(std::string_view bytes, int depthLimit) {
    BinaryCheck(bytes, depthLimit).run();
}
