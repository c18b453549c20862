// The log that the pane's support library writes in this program's name.
#pragma once

/// Makes its current file, empty, unless it is there: the log writes to no other. Nothing happens
/// where logging is switched off; a failure shows in the console lines that the log then writes.
void makeLogFile();
