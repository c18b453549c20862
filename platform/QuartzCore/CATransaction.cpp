#include "QuartzCore/CATransaction.h"

#include <vector>

namespace {

constexpr double defaultDuration = 0.25;

std::vector<double>& durations() {
    static std::vector<double> stack;
    return stack;
}

} // namespace

void CATransaction::begin() { durations().push_back(animationDuration()); }

void CATransaction::commit() {
    if (!durations().empty()) {
        durations().pop_back();
    }
}

void CATransaction::setValueForKey(const PropertyList& value, const std::string& key) {
    const auto seconds = value.number();
    if (key == kCATransactionAnimationDuration && seconds && !durations().empty()) {
        durations().back() = *seconds;
    }
}

double CATransaction::animationDuration() {
    return durations().empty() ? defaultDuration : durations().back();
}
