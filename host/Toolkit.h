// The toolkit, started so that it neither waits for ever nor speaks another language than its user.
#pragma once

#include <string>
#include <vector>

/// Makes the application; the options are the toolkit's own. Main thread, before there are others.
void startToolkit(const std::vector<std::string>& options);
