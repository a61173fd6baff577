#include "apps/console/TerminalScreen.h"

// In a source of its own, because these headers define short words as macros.
#include <curses.h>
#include <term.h>
#include <unistd.h>

namespace terminal {

bool hasSecondScreen()
{
    int error = 0;
    if (setupterm(nullptr, STDOUT_FILENO, &error) != OK)
        return false;
    return tigetstr("smcup") && tigetstr("rmcup") && tigetstr("cup");
}

} // namespace terminal
