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
    if (!first.empty())
        return intoFile.writeString(first, withName);
    if (intoFile.writeArray(array, withName))
        return true;
    // Nothing may refer to an array that isn't there.
    const std::lock_guard lock(accessLock_);
    const auto known = nameForChecksum_.find(array.checksum());
    if (known != nameForChecksum_.end() && known->second == withName)
        nameForChecksum_.erase(known);
    return false;
}
