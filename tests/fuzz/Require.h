// What must hold of whatever a reader has taken.
#pragma once

#include <cstdlib>

inline void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}
