// Hands on each change of a value that it observes.
#pragma once

#include "Foundation/NSObject.h"

#include <functional>

class Observer : public NSObject {
public:
    explicit Observer(std::function<void(const NSKeyValueChange&)> hear) : hear(std::move(hear)) {}
    void observeValueForKeyPath(const std::string&, NSObject&, const NSKeyValueChange& change,
                                void*) override {
        hear(change);
    }

private:
    std::function<void(const NSKeyValueChange&)> hear;
};
