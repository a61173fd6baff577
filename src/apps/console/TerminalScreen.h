#pragma once

// Capabilities of the terminal on standard output, from the terminal database (TERM).
namespace terminal {

// Whether it has an alternate screen and can move the cursor.
bool hasSecondScreen();

} // namespace terminal
