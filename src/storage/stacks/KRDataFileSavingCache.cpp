#include "storage/stacks/KRDataFileSavingCache.h"

#include "diagnostics/KRMessageCenter.h"

bool KRDataFileSavingCache::writeArray(
    const KRAnyArray& array, KRDataStorage& intoFile, const std::string& withName)
{
    if (!array) {
        KRMessageCenter::addMessage(nullptr);
        return intoFile.writeArray(array, withName);
    }
    std::string first;
    {
        const std::lock_guard lock(accessLock_);
        const auto [known, isNew] = nameForChecksum_.try_emplace(array.checksum(), withName);
        if (!isNew)
            first = known->second;
    }
    return first.empty() ? intoFile.writeArray(array, withName) : intoFile.writeString(first, withName);
}
