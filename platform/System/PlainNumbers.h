// Numbers as programs write them, whatever the user's language.
#pragma once

#include <clocale>

/// While one lives, the calling thread reads and prints numbers with a dot before the decimals.
class PlainNumbers {
public:
    PlainNumbers() : before(uselocale(plain())) {}
    ~PlainNumbers() { uselocale(before); }
    PlainNumbers(const PlainNumbers&) = delete;
    PlainNumbers& operator=(const PlainNumbers&) = delete;

private:
    static locale_t plain() {
        static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
        return locale;
    }
    const locale_t before;
};
