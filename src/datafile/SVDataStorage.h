#pragma once

#include "arrays/sv/SVArray.h"
#include "arrays/sv/SVPointer.h"
#include "arrays/sv/SVTransformStorage.h"

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

// The interface of a store of named arrays and strings. Names are bytes, UTF-8 in practice. A failure is
// reported through SVErrorMessage and gives an empty result; nothing throws. One thread at a time uses a
// store and its copies.
class SVDataStorage {
public:
    virtual ~SVDataStorage() = default;

    // A counted pointer to a new handle on the same store.
    virtual SVMutablePointer<SVDataStorage> AsPointer() const = 0;

    // In the order of their bytes.
    virtual std::vector<std::string> AllVariableNames() const = 0;
    virtual bool Contains(const std::string& name) const = 0;
    virtual bool IsReadOnly() const = 0;

    // Store a value under a name. If a name occurs twice, the last value counts.
    virtual void Save(int value, const std::string& name) = 0;
    virtual void Save(double value, const std::string& name) = 0;
    virtual void Save(const SVDoubleArray& array, const std::string& name) = 0;
    virtual void Save(const SVFloatArray& array, const std::string& name) = 0;
    virtual void Save(const SVIntArray& array, const std::string& name) = 0;
    virtual void Save(const SVCharArray& array, const std::string& name) = 0;
    virtual void Save(const SVUCharArray& array, const std::string& name) = 0;
    virtual void Save(const SVShortIntArray& array, const std::string& name) = 0;
    virtual void Save(const SVUShortIntArray& array, const std::string& name) = 0;
    virtual void Save(const std::string& text, const std::string& name) = 0;
    void Save(const char* text, const std::string& name) { Save(std::string(text ? text : ""), name); }

    // How a value is stored; false for a name that isn't there.
    virtual bool SavedAsCharacter(const std::string& name) const = 0;
    virtual bool SavedAsShort(const std::string& name) const = 0;
    virtual bool SavedAsInt(const std::string& name) const = 0;
    virtual bool SavedAsDouble(const std::string& name) const = 0;
    virtual bool SavedAsString(const std::string& name) const = 0;

    virtual void Flush() { }

    // The value of that name, converted to the requested type; empty on failure.
    virtual SVMutableDoubleArray ReadDoubleArray(const std::string& name) const = 0;
    virtual SVMutableFloatArray ReadFloatArray(const std::string& name) const = 0;
    virtual SVMutableIntArray ReadIntArray(const std::string& name) const = 0;
    virtual SVMutableCharArray ReadCharArray(const std::string& name) const = 0;
    virtual SVMutableUCharArray ReadUCharArray(const std::string& name) const = 0;
    virtual SVMutableShortIntArray ReadShortIntArray(const std::string& name) const = 0;
    virtual SVMutableUShortIntArray ReadUShortIntArray(const std::string& name) const = 0;
    // The element of an array that holds exactly one; else 0.
    virtual double ReadNumber(const std::string& name) const;
    virtual int ReadInt(const std::string& name) const;
    virtual std::string ReadString(const std::string& name) const = 0;

    // A listing on the standard error stream.
    virtual void printInfo() const { }
    void pinfo() const { printInfo(); }

    // Follows strings that name other variables. A circle is reported and gives the name itself.
    std::string ResolveName(const std::string& name) const;
    std::vector<std::string> AllVariableNamesWithPrefix(const std::string& prefix) const;
};

// The operations on the seven types of arrays, for a File with the two templates SaveArray(array, name) and
// ReadArray<T>(name).
template <class File>
class SVArrayStorageOf : public SVDataStorage {
public:
    using SVDataStorage::Save;
    void Save(const SVDoubleArray& array, const std::string& name) override;
    void Save(const SVFloatArray& array, const std::string& name) override;
    void Save(const SVIntArray& array, const std::string& name) override;
    void Save(const SVCharArray& array, const std::string& name) override;
    void Save(const SVUCharArray& array, const std::string& name) override;
    void Save(const SVShortIntArray& array, const std::string& name) override;
    void Save(const SVUShortIntArray& array, const std::string& name) override;

    SVMutableDoubleArray ReadDoubleArray(const std::string& name) const override;
    SVMutableFloatArray ReadFloatArray(const std::string& name) const override;
    SVMutableIntArray ReadIntArray(const std::string& name) const override;
    SVMutableCharArray ReadCharArray(const std::string& name) const override;
    SVMutableUCharArray ReadUCharArray(const std::string& name) const override;
    SVMutableShortIntArray ReadShortIntArray(const std::string& name) const override;
    SVMutableUShortIntArray ReadUShortIntArray(const std::string& name) const override;
};

// The reading operation of an element type.
template <class T>
SVMutableArray<T> SVReadArray(const SVDataStorage& storage, const std::string& name)
{
    if constexpr (std::is_same_v<T, double>)
        return storage.ReadDoubleArray(name);
    else if constexpr (std::is_same_v<T, float>)
        return storage.ReadFloatArray(name);
    else if constexpr (std::is_same_v<T, std::int32_t>)
        return storage.ReadIntArray(name);
    else if constexpr (std::is_same_v<T, std::int16_t>)
        return storage.ReadShortIntArray(name);
    else if constexpr (std::is_same_v<T, std::uint16_t>)
        return storage.ReadUShortIntArray(name);
    else if constexpr (std::is_same_v<T, signed char>)
        return storage.ReadCharArray(name);
    else
        return storage.ReadUCharArray(name);
}

// Reading and writing for generic code: the type of the value selects the operation.
inline void Read(const SVDataStorage& storage, const std::string& name, double& value)
{
    value = storage.ReadNumber(name);
}
inline void Read(const SVDataStorage& storage, const std::string& name, std::string& value)
{
    value = storage.ReadString(name);
}
template <class T>
void Read(const SVDataStorage& storage, const std::string& name, SVMutableArray<T>& value)
{
    value = SVReadArray<T>(storage, name);
}
template <class T>
void Read(const SVDataStorage& storage, const std::string& name, SVArray<T>& value)
{
    value = SVReadArray<T>(storage, name);
}

inline void Write(SVDataStorage& storage, const std::string& name, double value)
{
    storage.Save(value, name);
}
inline void Write(SVDataStorage& storage, const std::string& name, const std::string& value)
{
    storage.Save(value, name);
}
template <class T>
void Write(SVDataStorage& storage, const std::string& name, const SVArray<T>& value)
{
    storage.Save(value, name);
}

// Writes a value, then the note of its type that a scan of the file looks for (the string "Seq_<name>"), and
// flushes. SVTransformStorage.h has the same for transforms.
void WriteOne(SVDataStorage& storage, const std::string& name, double value);
void WriteOne(SVDataStorage& storage, const std::string& name, const std::string& value);
void WriteOne(SVDataStorage& storage, const std::string& name, const SVDoubleArray& value);
void WriteOne(SVDataStorage& storage, const std::string& name, const SVFloatArray& value);
void WriteOne(SVDataStorage& storage, const std::string& name, const SVIntArray& value);
void WriteOne(SVDataStorage& storage, const std::string& name, const SVCharArray& value);
