// The machine's clock.
#pragma once

#include "System/Clock.h"

class RealClock : public Clock {
public:
    Time now() const override;
    std::chrono::system_clock::time_point date() const override;
    void park(Parking& parking, Deadline deadline) override;
    void unpark(Parking& parking) override;
    void parkInPoll(Parking& parking, Deadline deadline,
                    const std::function<bool(Deadline)>& poll) override;
};
