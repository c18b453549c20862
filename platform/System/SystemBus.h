// The machine's own bus, as far as one asks who is on it.
#pragma once

#include <string>

/// Whether a service runs or would be started for whoever needs it. False without a bus too. Any
/// thread; waits for the bus, some seconds at most.
bool systemBusHas(const std::string& service);
