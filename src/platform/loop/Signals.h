#pragma once

// Signals of the process that are counted instead of interrupting it. The handler only counts, and writes to
// a descriptor to wake the loop.
namespace platform::signals {

// Counts the signal from now on, and adds 1 to the eventfd at each delivery. False for a signal that can't be
// caught or is ignored. Each call that returned true is matched by one of endWatching(). One thread.
bool beginWatching(int signalNumber, int wakeDescriptor);
// The last one for a signal restores the disposition that was there before.
void endWatching(int signalNumber);
// How often the signal came since the last call.
int takeCount(int signalNumber);

} // namespace platform::signals
