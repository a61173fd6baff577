#include "storage/KRDataStorageSharedReadWrite.h"

#include "diagnostics/KRMessageCenter.h"

namespace {

std::map<std::string, KRDataStorageSharedReadWrite::Reader>& typeReaders()
{
    static std::map<std::string, KRDataStorageSharedReadWrite::Reader> readers;
    return readers;
}

} // namespace

void KRDataStorageSharedReadWrite::setReader(const std::string& typeWord, Reader reader)
{
    typeReaders()[typeWord] = reader;
}

std::shared_ptr<KRDataStorageSharedReadWrite> KRDataStorageSharedReadWrite::createWithDataFile(
    KRDataStorage* storage)
{
    if (!storage)
        return nullptr;
    return std::shared_ptr<KRDataStorageSharedReadWrite>(new KRDataStorageSharedReadWrite(*storage));
}

bool KRDataStorageSharedReadWrite::save(const Value& value, const std::string& withName)
{
    if (!value)
        return false;
    const std::lock_guard lock(accessLock_);
    Record& record = storedByType_[value->typeWord()];
    if (record.variable && record.variable->isEqualTo(*value))
        return storage_.writeString(record.name, withName);
    if (!value->saveIntoFile(storage_, withName))
        return false;
    record = {value, withName};
    return true;
}

KRDataStorageSharedReadWrite::Value KRDataStorageSharedReadWrite::readType(
    const std::string& typeWord, const std::string& withName)
{
    const std::lock_guard lock(accessLock_);
    Record& record = storedByType_[typeWord];
    const auto resolved = storage_.resolveNameAllowingRedirection(withName);
    if (!resolved)
        return nullptr;
    if (record.variable && record.name == *resolved)
        return record.variable;
    const auto reader = typeReaders().find(typeWord);
    Value value = reader == typeReaders().end() ? nullptr : reader->second(storage_, *resolved);
    if (value)
        record = {value, *resolved};
    return value;
}

void KRDataStorageSharedReadWrite::setKey(const Value&, const std::string&)
{
    KRMessageCenter::addMessage(nullptr);
}
