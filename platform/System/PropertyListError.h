// What a check of property-list bytes raises.
#pragma once

#include <stdexcept>

/// Its text is the problem, as a part of a sentence: "it is cut short".
class PropertyListError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;

    static void unless(bool condition, const char* problem) {
        if (!condition) {
            throw PropertyListError(problem);
        }
    }
};
