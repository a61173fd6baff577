#include "datafile/SVDataStorage.h"

#include "arrays/sv/SVErrorMessage.h"

#include <set>

namespace {

template <class Value>
void writeWithNote(SVDataStorage& storage, const std::string& name, const Value& value, const char* note)
{
    // The value first: a reader that sees the note must find the value.
    Write(storage, name, value);
    storage.Save(std::string(note), "Seq_" + name);
    storage.Flush();
}

template <class T>
void writeArrayWithNote(SVDataStorage& storage, const std::string& name, const SVArray<T>& array)
{
    writeWithNote(storage, name, array, array.n() < 2 ? "NumberList" : "Array");
}

} // namespace

double SVDataStorage::ReadNumber(const std::string& name) const
{
    const SVDoubleArray array = ReadDoubleArray(name);
    return array.Length() == 1 ? array(0) : 0;
}

int SVDataStorage::ReadInt(const std::string& name) const
{
    const SVIntArray array = ReadIntArray(name);
    return array.Length() == 1 ? array(0) : 0;
}

std::string SVDataStorage::ResolveName(const std::string& name) const
{
    if (!SavedAsString(name))
        return name;
    std::string target = ReadString(name);
    if (!SavedAsString(target))
        return target;
    std::set<std::string> visited{name};
    while (SavedAsString(target)) {
        if (!visited.insert(target).second) {
            SVErrorMessage("SVDataStorage::ResolveName", "Circular reference for " + name);
            return name;
        }
        target = ReadString(target);
    }
    return Contains(target) ? target : name;
}

std::vector<std::string> SVDataStorage::AllVariableNamesWithPrefix(const std::string& prefix) const
{
    std::vector<std::string> names;
    for (std::string& name : AllVariableNames())
        if (name.compare(0, prefix.size(), prefix) == 0)
            names.push_back(std::move(name));
    return names;
}

void WriteOne(SVDataStorage& storage, const std::string& name, double value)
{
    writeWithNote(storage, name, value, "Real Number");
}

void WriteOne(SVDataStorage& storage, const std::string& name, const std::string& value)
{
    writeWithNote(storage, name, value, "String");
}

void WriteOne(SVDataStorage& storage, const std::string& name, const SVDoubleArray& value)
{
    writeArrayWithNote(storage, name, value);
}

void WriteOne(SVDataStorage& storage, const std::string& name, const SVFloatArray& value)
{
    writeArrayWithNote(storage, name, value);
}

void WriteOne(SVDataStorage& storage, const std::string& name, const SVIntArray& value)
{
    writeArrayWithNote(storage, name, value);
}

void WriteOne(SVDataStorage& storage, const std::string& name, const SVCharArray& value)
{
    writeArrayWithNote(storage, name, value);
}
