#include "diagnostics/KRSerialNumber.h"

namespace {

KRSerialNumber& processWideSource()
{
    static KRSerialNumber source;
    return source;
}

} // namespace

void KRSerialNumber::configure()
{
    processWideSource();
}

std::int64_t KRSerialNumber::createNew()
{
    return processWideSource().uniqueInteger();
}

std::int64_t KRSerialNumber::uniqueInteger()
{
    const std::lock_guard guard(counterLock_);
    return nextNumber_++;
}
