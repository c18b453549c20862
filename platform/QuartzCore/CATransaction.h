// Groups changes of layers and says how long what is shown takes to follow them. Main thread only.
#pragma once

#include "Foundation/NSPropertyList.h"

#include <string>

constexpr const char* kCATransactionAnimationDuration = "animationDuration";

/// Transactions nest: each starts with the duration of the one around it, and outside of all it is
/// 0.25 seconds.
class CATransaction {
public:
    static void begin();
    /// Ends the innermost transaction. Does nothing outside of all.
    static void commit();
    /// Sets a value of the innermost transaction: the duration in seconds, 0 to move at once.
    /// Outside of all transactions, and for other keys, it does nothing.
    static void setValueForKey(const PropertyList& value, const std::string& key);
    static double animationDuration();
};

/// What changes while one of these lives is shown at once.
class CATransactionWithoutAnimation {
public:
    CATransactionWithoutAnimation() {
        CATransaction::begin();
        CATransaction::setValueForKey(0.0, kCATransactionAnimationDuration);
    }
    ~CATransactionWithoutAnimation() { CATransaction::commit(); }
    CATransactionWithoutAnimation(const CATransactionWithoutAnimation&) = delete;
    CATransactionWithoutAnimation& operator=(const CATransactionWithoutAnimation&) = delete;
};
