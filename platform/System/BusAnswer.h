// Whether a message bus is alive. One whose daemon hangs is joined as any other, and then says
// nothing.
#pragma once

#include <chrono>
#include <string>

/// Whether the bus at the address greets a new client within some time. False without a bus. Any
/// thread; waits for the bus.
bool busAnswers(const std::string& address, std::chrono::microseconds patience);
