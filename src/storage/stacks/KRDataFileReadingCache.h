#pragma once

#include "storage/KRDataFile.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

// Keeps the arrays that were read from a file, up to a limit of bytes. It serves one read at a time and
// doesn't notice changes of the file. The arrays are shared by all who read them.
//
// An array stays with the type that it was first read with: readArrayOfType() gives it as it is when another
// type is asked for, and the functions that name a type give a converted copy of it.
class KRDataFileReadingCache final : public KRDataStorage {
public:
    KRDataFileReadingCache(KRDataFile::Pointer dataFile, std::int64_t cacheSize) // In bytes.
        : cacheSize_(cacheSize), storageFile_(std::move(dataFile))
    { }

    // Of the file, not kept.
    std::optional<std::string> resolveNameAllowingRedirection(const std::string& name) override;
    bool contains(const std::optional<std::string>& name) override;
    bool isAString(const std::string& name) override;
    std::optional<StorageNumber> readNumber(const std::string& name) override;
    std::optional<std::string> readRawString(const std::string& name) override;
    // The same under the resolved name.
    bool isAFloatArray(const std::string& name) override;
    bool isADoubleArray(const std::string& name) override;
    bool isAnIntArray(const std::string& name) override;
    std::optional<Size> getSizeOfVariable(const std::string& name) override;
    std::optional<Bytes> readDataBlock(const std::string& name) override;
    // Kept under the resolved name.
    KRAnyArray readArrayOfType(ElementType type, const std::string& name) override;
    KRAnyArray readNativeArray(const std::string& name) override;

    // The caller holds no lock. Takes out entries when the limit is reached, the newest first, until a tenth
    // of the limit is free: what was read first is likely to be read again by the next sweep over the file.
    void addToCache(const KRAnyArray& value, const std::string& forName, std::uint64_t access);
    static std::uint64_t accessTime(); // Microseconds, monotonic.
    std::int64_t currentlyInCache() const; // Bytes.

private:
    struct Record {
        KRAnyArray read;
        std::uint64_t access = 0; // The time of the last use.
    };
    template <class Read>
    KRAnyArray cached(const std::string& name, Read read);
    template <class Ask>
    auto askResolved(const std::string& name, Ask ask);
    void addInsideLock(const KRAnyArray& value, const std::string& name, std::uint64_t access);
    void cleanUpInsideLock();

    mutable std::mutex accessToCache_;
    std::map<std::string, Record> cachedSoFar_; // By resolved name.
    std::int64_t cacheSize_;
    std::int64_t currentlyInCache_ = 0;
    KRDataFile::Pointer storageFile_;
};
