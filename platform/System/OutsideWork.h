// Tells the clock, for as long as it lives, that what is waited for is not of its making.
#pragma once

#include "System/Clock.h"

class OutsideWork {
public:
    explicit OutsideWork(Clock& clock) : clock(clock) { clock.outsideWorkBegins(); }
    ~OutsideWork() { clock.outsideWorkEnds(); }
    OutsideWork(const OutsideWork&) = delete;
    OutsideWork& operator=(const OutsideWork&) = delete;

private:
    Clock& clock;
};
