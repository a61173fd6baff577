#pragma once

#include "arrays/legacy/KRArrayFamily.h"

#include <mutex>

// The account of the memory that all arrays of the object layer hold. Any thread.

// Guards the three numbers below, which take it themselves. It is the last lock to be taken.
std::mutex& lockForCountingMemory();

long HowMuchHasBeenAllocated(); // In bytes.
long HowMuchNextTime(); // The next mark; an array that takes the sum beyond it raises it.
long howManyArrays(); // Storages that aren't empty.

namespace krinternal {

// Enters a storage of so many bytes, or takes it off. Entering may tell the log that memory grows.
void countNewStorage(long bytes, const KRArrayTrace& trace);
void countEndOfStorage(long bytes);

} // namespace krinternal
