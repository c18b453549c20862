#include "System/BinaryPropertyListCheck.h"

#include "System/PropertyListError.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <vector>

namespace {

constexpr auto require = PropertyListError::unless;

constexpr std::size_t headerSize = 8;
constexpr std::size_t trailerSize = 32;
/// What a list may take in memory when every reference is laid out on its own: so much, and less
/// for a short one, which a few references to each other could blow up.
constexpr std::uint64_t largestSize = 256U << 20U;
constexpr std::uint64_t smallestLimit = 1U << 20U;
constexpr std::uint64_t sizePerByte = 4096;
constexpr std::uint64_t sizePerObject = 128;

class BinaryCheck {
public:
    BinaryCheck(std::string_view bytes, int depthLimit)
        : bytes(bytes), depthLimit(depthLimit),
          sizeLimit(std::min(largestSize, smallestLimit + sizePerByte * bytes.size())) {}

    void run() {
        require(bytes.size() >= headerSize + trailerSize, "it is cut short");
        require(bytes.starts_with("bplist00"), "its version is unknown");
        const std::size_t trailer = bytes.size() - trailerSize;
        offsetSize = number(trailer + 6, 1);
        referenceSize = number(trailer + 7, 1);
        objectCount = number(trailer + 8, 8);
        const std::uint64_t top = number(trailer + 16, 8);
        table = number(trailer + 24, 8);
        require(offsetSize >= 1 && offsetSize <= 8 && referenceSize >= 1 && referenceSize <= 8,
                "its trailer is damaged");
        require(table >= headerSize && table < trailer && objectCount > 0 &&
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
        require(object < objectCount, "a reference leads nowhere");
        require(sizes[object] != beingMeasured, "an object contains itself");
        require(depth < depthLimit, "it is nested too deep");
        if (sizes[object] != 0) {
            return sizes[object];
        }
        sizes[object] = beingMeasured;
        const std::uint64_t size = measure(number(table + object * offsetSize, offsetSize), depth);
        require(size <= sizeLimit, "it is too large");
        return sizes[object] = size;
    }

    std::uint64_t measure(std::uint64_t position, int depth) {
        require(position >= headerSize && position < table, "an object lies outside");
        const std::uint64_t marker = number(position++, 1);
        const std::uint64_t kind = marker >> 4U;
        const std::uint64_t info = marker & 0xFU;
        const bool isDictionary = kind == 0xD;
        const bool isContainer = isDictionary || kind == 0xA;
        const bool hasCount = isContainer || (kind >= 0x4 && kind <= 0x7);
        if (!hasCount) {
            if (kind == 0x1) {
                checkInteger(position, info);
            } else if (kind == 0x3) {
                checkDate(position);
            }
            return sizePerObject;
        }
        const std::uint64_t count = info == 0xF ? longCount(position) : info;
        require(count < table, "an object is cut short");
        if (!isContainer) {
            return sizePerObject + 2 * count;
        }
        const std::uint64_t references = isDictionary ? 2 * count : count;
        require(references <= (table - position) / referenceSize, "a container is cut short");
        std::uint64_t size = sizePerObject;
        for (std::uint64_t index = 0; isDictionary && index < count; ++index) {
            checkKey(number(position + index * referenceSize, referenceSize));
        }
        for (std::uint64_t index = 0; index < references && size <= sizeLimit; ++index) {
            size += sizeOf(number(position + index * referenceSize, referenceSize), depth + 1);
        }
        return size;
    }

    /// A key is a text without a zero character: libplist counts on both.
    void checkKey(std::uint64_t object) const {
        require(object < objectCount, "a reference leads nowhere");
        std::uint64_t position = number(table + object * offsetSize, offsetSize);
        require(position >= headerSize && position < table, "an object lies outside");
        const std::uint64_t marker = number(position++, 1);
        const std::uint64_t unit = marker >> 4U == 0x6 ? 2 : 1;
        require(marker >> 4U == 0x5 || marker >> 4U == 0x6, "a key is no text");
        const std::uint64_t count = (marker & 0xFU) == 0xF ? longCount(position) : marker & 0xFU;
        require(count <= (table - position) / unit, "an object is cut short");
        for (std::uint64_t index = 0; index < count; ++index) {
            require(number(position + index * unit, unit) != 0, "a key holds a zero character");
        }
    }

    /// One of 16 bytes has room for large unsigned numbers: of more than 64 bits, libplist drops
    /// some.
    void checkInteger(std::uint64_t position, std::uint64_t info) const {
        constexpr std::uint64_t sixteenBytes = 4;
        if (info == sixteenBytes) {
            require(table - position >= 16, "an object is cut short");
            require(number(position, 8) == 0, "an integer has more than 64 bits");
        }
    }

    /// A date is a number of seconds from 2001; what lies tens of thousands of years away is none.
    void checkDate(std::uint64_t position) const {
        constexpr double secondsLimit = 1e12;
        require(table - position >= sizeof(double), "an object is cut short");
        const auto seconds = std::bit_cast<double>(number(position, sizeof(double)));
        require(std::abs(seconds) < secondsLimit, "a date is out of range");
    }

    /// A count that is an object of its own, after which `position` stands.
    std::uint64_t longCount(std::uint64_t& position) const {
        require(position < table, "an object is cut short");
        const std::uint64_t marker = number(position++, 1);
        const std::uint64_t size = 1ULL << (marker & 0xFU);
        require(marker >> 4U == 1 && size <= 8 && size <= table - position, "a count is damaged");
        const std::uint64_t count = number(position, size);
        position += size;
        return count;
    }

    std::string_view bytes;
    const int depthLimit;
    const std::uint64_t sizeLimit;
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
