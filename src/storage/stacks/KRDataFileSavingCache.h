#pragma once

#include "storage/KRDataStorage.h"

#include <cstdint>
#include <mutex>
#include <string>
#include <unordered_map>

// Writes each distinct array of a save once: under later names it writes a text with the first name, which
// resolveNameAllowingRedirection() follows. Arrays with equal checksums count as equal. Any thread.
class KRDataFileSavingCache {
public:
    bool writeArray(const KRAnyArray& array, KRDataStorage& intoFile, const std::string& withName);

private:
    std::mutex accessLock_; // Held for the look-up alone.
    std::unordered_map<std::uint64_t, std::string> nameForChecksum_;
};
