#pragma once

#include "storage/KRDataStorage.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>

// A value that a shared storage can save: what the typed values provide.
class KRSharedValue {
public:
    virtual ~KRSharedValue() = default;
    // The class name behind "KRContainer" of a container; "Real Number", "String" or "Color".
    virtual std::string typeWord() const = 0;
    virtual bool isEqualTo(const KRSharedValue& other) const = 0; // Of the same type word.
    virtual bool saveIntoFile(KRDataStorage& file, const std::string& withName) const = 0;
};

// Writes each distinct value once and then makes references: a value that equals the last one of its type is
// written as a text with that one's name. Reading gives the same object again for the same name. Has a lock
// of its own, held during the save or the read. Any thread.
class KRDataStorageSharedReadWrite {
public:
    using Value = std::shared_ptr<const KRSharedValue>;
    // Reads a value of one type; null on failure.
    using Reader = Value (*)(KRDataStorage& storage, const std::string& name);

    // The readers of the value types, filled at start before other threads run.
    static void setReader(const std::string& typeWord, Reader reader);

    // Null for null. The storage is borrowed: it must outlive the object.
    static std::shared_ptr<KRDataStorageSharedReadWrite> createWithDataFile(KRDataStorage* storage);

    bool save(const Value& value, const std::string& withName); // Null is passed over, and false.
    bool saveIntoFile(const Value& value, const std::string& withName) { return save(value, withName); }
    Value readType(const std::string& typeWord, const std::string& withName);
    Value objectForKey(const std::string&) const { return nullptr; }
    void setKey(const Value& value, const std::string& forKey);

private:
    struct Record {
        Value variable;
        std::string name;
    };
    explicit KRDataStorageSharedReadWrite(KRDataStorage& storage) : storage_(storage) { }

    std::mutex accessLock_;
    std::map<std::string, Record> storedByType_; // The last value of each type.
    KRDataStorage& storage_;
};
