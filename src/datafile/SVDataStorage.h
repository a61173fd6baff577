#pragma once

#include "arrays/sv/SVArray.h"
#include "arrays/sv/SVPointer.h"
#include "arrays/sv/SVTransformStorage.h"

#include <string>
#include <vector>

// A store of named arrays and strings, whatever lies behind it. Names are bytes, UTF-8 in practice. A failure
// is reported through SVErrorMessage and gives an empty answer; nothing throws. One thread at a time uses a
// store and its copies.
class SVDataStorage {
public:
    virtual ~SVDataStorage() = default;

    // A counted pointer to a handle of its own on the same store.
    virtual SVMutablePointer<SVDataStorage> AsPointer() const = 0;

    // In the order of their bytes.
    virtual std::vector<std::string> AllVariableNames() const = 0;
    virtual bool Contains(const std::string& name) const = 0;
    virtual bool IsReadOnly() const = 0;

    // Store a value under a name. Where a name can occur twice the last value counts.
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

    // The value under a name, converted to the type that is asked for; empty when it can't be had.
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

    // Follows strings that name other variables; a circle is reported and leads back to the name itself.
    std::string ResolveName(const std::string& name) const;
    std::vector<std::string> AllVariableNamesWithPrefix(const std::string& prefix) const;
};

// A store read and written by type, for code that doesn't know which type it has.
inline void Read(const SVDataStorage& storage, const std::string& name, double& value)
{
    value = storage.ReadNumber(name);
}
inline void Read(const SVDataStorage& storage, const std::string& name, std::string& value)
{
    value = storage.ReadString(name);
}
inline void Read(const SVDataStorage& storage, const std::string& name, SVMutableDoubleArray& value)
{
    value = storage.ReadDoubleArray(name);
}
inline void Read(const SVDataStorage& storage, const std::string& name, SVMutableFloatArray& value)
{
    value = storage.ReadFloatArray(name);
}
inline void Read(const SVDataStorage& storage, const std::string& name, SVMutableIntArray& value)
{
    value = storage.ReadIntArray(name);
}
inline void Read(const SVDataStorage& storage, const std::string& name, SVMutableCharArray& value)
{
    value = storage.ReadCharArray(name);
}
inline void Read(const SVDataStorage& storage, const std::string& name, SVMutableUCharArray& value)
{
    value = storage.ReadUCharArray(name);
}
inline void Read(const SVDataStorage& storage, const std::string& name, SVMutableShortIntArray& value)
{
    value = storage.ReadShortIntArray(name);
}
inline void Read(const SVDataStorage& storage, const std::string& name, SVMutableUShortIntArray& value)
{
    value = storage.ReadUShortIntArray(name);
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
