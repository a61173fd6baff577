#include "storage/stacks/KRDataFileReadingCache.h"

#include "platform/ProcessInfo.h"

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

std::optional<std::string> KRDataFileReadingCache::resolveNameAllowingRedirection(const std::string& name)
{
    return storageFile_ ? storageFile_->resolveNameAllowingRedirection(name) : std::nullopt;
}

bool KRDataFileReadingCache::contains(const std::optional<std::string>& name)
{
    return storageFile_ && storageFile_->contains(name);
}

bool KRDataFileReadingCache::isAString(const std::string& name)
{
    return storageFile_ && storageFile_->isAString(name);
}

std::optional<StorageNumber> KRDataFileReadingCache::readNumber(const std::string& name)
{
    return storageFile_ ? storageFile_->readNumber(name) : std::nullopt;
}

std::optional<std::string> KRDataFileReadingCache::readRawString(const std::string& name)
{
    return storageFile_ ? storageFile_->readRawString(name) : std::nullopt;
}

template <class Ask>
auto KRDataFileReadingCache::askResolved(const std::string& name, Ask ask)
{
    const auto resolved = resolveNameAllowingRedirection(name);
    return resolved ? ask(*storageFile_, *resolved) : decltype(ask(*storageFile_, *resolved)){};
}

bool KRDataFileReadingCache::isAFloatArray(const std::string& name)
{
    return askResolved(
        name, [](KRDataFile& file, const std::string& found) { return file.isAFloatArray(found); });
}

bool KRDataFileReadingCache::isADoubleArray(const std::string& name)
{
    return askResolved(
        name, [](KRDataFile& file, const std::string& found) { return file.isADoubleArray(found); });
}

bool KRDataFileReadingCache::isAnIntArray(const std::string& name)
{
    return askResolved(
        name, [](KRDataFile& file, const std::string& found) { return file.isAnIntArray(found); });
}

std::optional<KRDataStorage::Size> KRDataFileReadingCache::getSizeOfVariable(const std::string& name)
{
    return askResolved(
        name, [](KRDataFile& file, const std::string& found) { return file.getSizeOfVariable(found); });
}

std::optional<KRDataStorage::Bytes> KRDataFileReadingCache::readDataBlock(const std::string& name)
{
    return askResolved(
        name, [](KRDataFile& file, const std::string& found) { return file.readDataBlock(found); });
}

template <class Read>
KRAnyArray KRDataFileReadingCache::cached(const std::string& name, Read read)
{
    const auto resolved = resolveNameAllowingRedirection(name);
    if (!resolved)
        return {};
    const std::lock_guard lock(accessToCache_);
    const std::uint64_t access = accessTime();
    const auto known = cachedSoFar_.find(*resolved);
    if (known != cachedSoFar_.end()) {
        known->second.access = access;
        return known->second.read;
    }
    KRAnyArray value = read(*resolved);
    addInsideLock(value, *resolved, access);
    return value;
}

KRAnyArray KRDataFileReadingCache::readArrayOfType(ElementType type, const std::string& name)
{
    return cached(name, [&](const std::string& found) { return storageFile_->readArrayOfType(type, found); });
}

KRAnyArray KRDataFileReadingCache::readNativeArray(const std::string& name)
{
    return cached(name, [&](const std::string& found) { return storageFile_->readNativeArray(found); });
}

void KRDataFileReadingCache::addToCache(
    const KRAnyArray& value, const std::string& forName, std::uint64_t access)
{
    const std::lock_guard lock(accessToCache_);
    addInsideLock(value, forName, access);
}

void KRDataFileReadingCache::addInsideLock(
    const KRAnyArray& value, const std::string& name, std::uint64_t access)
{
    if (!value)
        return;
    Record& record = cachedSoFar_[name];
    currentlyInCache_ += value.memoryUsed() - record.read.memoryUsed();
    record = {value, access};
    if (currentlyInCache_ >= cacheSize_)
        cleanUpInsideLock();
}

void KRDataFileReadingCache::cleanUpInsideLock()
{
    using Place = std::map<std::string, Record>::iterator;
    std::vector<Place> places;
    for (auto place = cachedSoFar_.begin(); place != cachedSoFar_.end(); ++place)
        places.push_back(place);
    std::stable_sort(places.begin(), places.end(),
        [](const Place& a, const Place& b) { return a->second.access > b->second.access; });
    for (const Place& place : places) {
        if (currentlyInCache_ < cacheSize_ - cacheSize_ / 10)
            break;
        currentlyInCache_ -= place->second.read.memoryUsed();
        cachedSoFar_.erase(place);
    }
    platform::systemLog("here");
}

std::uint64_t KRDataFileReadingCache::accessTime()
{
    const auto time = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(time).count());
}

std::int64_t KRDataFileReadingCache::currentlyInCache() const
{
    const std::lock_guard lock(accessToCache_);
    return currentlyInCache_;
}
