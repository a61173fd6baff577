#include "arrays/legacy/KRArrayMemory.h"

#include "arrays/legacy/KRArrayReports.h"

#include <optional>

namespace {

constexpr long kMegabyte = 1000000;
constexpr long kStep = 20 * kMegabyte;

struct Account {
    long allocated = 0;
    long nextTime = kStep;
    long arrays = 0;
};
Account account; // Guarded by lockForCountingMemory().

long countedField(long Account::*field)
{
    const std::lock_guard guard(lockForCountingMemory());
    return account.*field;
}

} // namespace

std::mutex& lockForCountingMemory()
{
    // Never destroyed: static arrays end after it would.
    static auto& lock = *new std::mutex;
    return lock;
}

long HowMuchHasBeenAllocated()
{
    return countedField(&Account::allocated);
}

long HowMuchNextTime()
{
    return countedField(&Account::nextTime);
}

long howManyArrays()
{
    return countedField(&Account::arrays);
}

namespace krinternal {

void countNewStorage(long bytes, const KRArrayTrace& trace)
{
    std::optional<long> megabytes;
    {
        const std::lock_guard guard(lockForCountingMemory());
        account.allocated += bytes;
        ++account.arrays;
        if (account.allocated <= account.nextTime)
            return;
        if (trace.text) {
            account.nextTime += kStep;
            megabytes = account.allocated / kMegabyte;
        } else {
            account.nextTime = (account.allocated / kMegabyte + 40) * kMegabyte;
        }
    }
    // Outside of the lock: the receiver writes to a file.
    if (megabytes)
        KRPutTraceMessage(trace.text + std::to_string(*megabytes) + " MB)");
}

void countEndOfStorage(long bytes)
{
    const std::lock_guard guard(lockForCountingMemory());
    account.allocated -= bytes;
    --account.arrays;
}

} // namespace krinternal
