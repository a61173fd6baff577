#pragma once

// What the terminal of standard output can do, by the system's description of it (TERM).
namespace terminal {

// Whether it has a second screen to draw on, which leaves the first one as it was, and can move the cursor.
bool hasSecondScreen();

} // namespace terminal
