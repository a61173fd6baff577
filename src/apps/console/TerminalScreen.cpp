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
    const auto can = [](const char* capability) {
        const char* const sequence = tigetstr(capability);
        return sequence && sequence != reinterpret_cast<const char*>(-1);
    };
    return can("smcup") && can("rmcup") && can("cup");
}

} // namespace terminal
