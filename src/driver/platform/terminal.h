// Terminals of the operating system, as this program uses them.
#pragma once

#include "driver/platform/file.h"

// Whether `descriptor` leads to a terminal.
bool isTerminal(int descriptor);

// Opens the terminal that `descriptor` leads to once more, so that writing to it never waits: what
// it does not take at once is refused. A flag of `descriptor` itself would hold for everybody who
// shares it. The result is not open when that fails, or when there is no terminal.
File openTerminal(int descriptor);

// The width of the terminal at this moment; 80 when it is not known.
int columnsOf(const File& terminal);

// Whether the process is not a background job of the terminal. A background job would write between
// the lines of another program, and may be stopped for it.
bool isInForeground(const File& terminal);
