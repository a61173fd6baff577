#pragma once

#include "platform/plist/Value.h"
#include "storage/values/KRAnyArray.h"
#include "storage/values/StorageNumber.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

class StoredArray;

// An array inside of another value, as writeArray() unwraps it.
class KRArrayHolder {
public:
    virtual ~KRArrayHolder() = default;
    virtual KRAnyArray numbersArray() const = 0;
};

// Named variables: arrays, numbers, texts and blocks of bytes. This class is the interface, with functions
// that only report that they aren't provided; files, stacks of files and memory provide them.
//
// Any thread may use a storage at any time. Its lock guards the content and the open file; every function
// takes it for the whole of its work, but those whose name ends in InsideLock, whose caller holds it.
// Storages are owned by shared pointers: a thread that reads has one of its own, so that the object can't go
// under it while the lock is held, whoever gives the storage up.
//
// Failures are reported to KRMessageCenter, and give nothing or false. Dimensions are m rows, n columns and o
// layers, the first index running fastest. What is read belongs to the caller alone unless a subclass tells
// otherwise.
class KRDataStorage : public std::enable_shared_from_this<KRDataStorage> {
public:
    using Bytes = platform::Value::Data;
    template <class T>
    using ArrayPointer = std::shared_ptr<KRArrayContainer<T>>;
    struct Size {
        std::uint32_t m = 0;
        std::uint32_t n = 0;
        std::uint32_t o = 0;
        bool operator==(const Size&) const = default;
    };

    KRDataStorage() = default;
    virtual ~KRDataStorage() = default;
    KRDataStorage(const KRDataStorage&) = delete;
    KRDataStorage& operator=(const KRDataStorage&) = delete;

    // For several steps that belong together; between them only functions with InsideLock may be called.
    void lockFileAccess() { accessLock_.lock(); }
    void unlockFileAccess() { accessLock_.unlock(); }

    // A name that isn't there answers false.
    virtual bool contains(const std::optional<std::string>& name);
    virtual bool isAString(const std::string& name);
    virtual bool isAFloatArray(const std::string& name);
    virtual bool isADoubleArray(const std::string& name);
    virtual bool isAnIntArray(const std::string& name);
    virtual bool isANumber(const std::string& name);
    // All names for an empty prefix.
    virtual std::vector<std::string> variablesWithPrefix(const std::string& prefix);
    // The name that stands at the end of a chain of texts, each of them the name of the next variable.
    // Nothing for a circle, which is reported.
    virtual std::optional<std::string> resolveNameAllowingRedirection(const std::string& name);
    virtual std::optional<Size> getSizeOfVariable(const std::string& name);

    virtual std::optional<StorageNumber> readNumber(const std::string& name);
    // Converted from the stored type by plain casts. Null for a missing name or a text.
    ArrayPointer<double> readDoubleArray(const std::string& name) { return readArrayOf<double>(name); }
    ArrayPointer<float> readFloatArray(const std::string& name) { return readArrayOf<float>(name); }
    ArrayPointer<std::int32_t> readIntArray(const std::string& name)
    {
        return readArrayOf<std::int32_t>(name);
    }
    ArrayPointer<std::int16_t> readShortArray(const std::string& name)
    {
        return readArrayOf<std::int16_t>(name);
    }
    ArrayPointer<std::uint16_t> readUShortArray(const std::string& name)
    {
        return readArrayOf<std::uint16_t>(name);
    }
    ArrayPointer<signed char> readCharacterArray(const std::string& name)
    {
        return readArrayOf<signed char>(name);
    }
    ArrayPointer<unsigned char> readUCharArray(const std::string& name)
    {
        return readArrayOf<unsigned char>(name);
    }
    // The same with the type as an argument. A cache may answer with another type than was asked for: that
    // shows here alone, and the functions above convert it.
    virtual KRAnyArray readArrayOfType(ElementType type, const std::string& name);
    virtual KRAnyArray readNativeArray(const std::string& name); // Of the stored type.
    // To read parts of an array later. Null for a missing name and a text, and where a storage can't: then
    // the array is to be read as a whole.
    virtual std::shared_ptr<const StoredArray> openArray(const std::string&) { return nullptr; }
    virtual std::optional<Bytes> readDataBlock(const std::string& name); // The stored bytes of an array.
    virtual std::optional<std::string> readRawString(const std::string& name); // UTF-8.

    // True when the variable is written. A null array is not.
    bool writeDoubleArray(const ArrayPointer<double>& array, const std::string& withName);
    bool writeFloatArray(const ArrayPointer<float>& array, const std::string& withName);
    bool writeIntArray(const ArrayPointer<std::int32_t>& array, const std::string& withName);
    bool writeShortArray(const ArrayPointer<std::int16_t>& array, const std::string& withName);
    bool writeUShortArray(const ArrayPointer<std::uint16_t>& array, const std::string& withName);
    bool writeCharacterArray(const ArrayPointer<signed char>& array, const std::string& withName);
    bool writeUCharArray(const ArrayPointer<unsigned char>& array, const std::string& withName);
    // Any of the above by what it holds; none is reported.
    bool writeArray(const KRAnyArray& array, const std::string& withName);
    bool writeArray(const KRArrayHolder& array, const std::string& withName);
    bool writeArray(const Bytes& block, const std::string& withName)
    {
        return writeDataBlock(block, withName);
    }
    virtual bool writeString(const std::string& text, const std::string& withName);
    virtual bool writeDataBlock(const Bytes& bytes, const std::string& withName);
    bool writeNumber(const StorageNumber& number, const std::string& withName); // As a double.

    // A tree of values: the variables "<name>" and "<name>_..." as nested dictionaries, arrays in their plain
    // form. Null when a part can't be read.
    platform::Value readObject(const std::string& name);
    platform::Value readObjectRecursively(std::vector<std::string> names, const std::string& baseName);
    // The reverse: texts, numbers, data, arrays in plain form, and dictionaries of them, five deep at most.
    bool writeObject(const platform::Value& value, const std::string& withBaseName);
    bool saveRecursively(const platform::Value& value, const std::string& baseName, int currentDepth);
    // An array as such: of doubles, floats, ints or characters; another one is reported.
    bool writeObject(const KRAnyArray& array, const std::string& withBaseName);
    bool saveRecursively(const KRAnyArray& array, const std::string& baseName, int currentDepth);

protected:
    // The array isn't none.
    virtual bool writeTypedArray(const KRAnyArray& array, const std::string& withName);

    std::mutex accessLock_;

private:
    template <class T>
    ArrayPointer<T> readArrayOf(const std::string& name)
    {
        return readConverted(kElementTypeOf<T>, name).template as<T>();
    }
    KRAnyArray readConverted(ElementType type, const std::string& name);
};
