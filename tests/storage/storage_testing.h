#pragma once

#include "OnThreads.h"
#include "arrays/containers/containers_testing.h"
#include "datafile/SVDataFile.h"
#include "datafile/SVMatlabDataFile.h"
#include "datafile/datafile_testing.h"
#include "platform/AnotherProcess.h"
#include "storage/formats/KRDataFileAscii.h"
#include "storage/formats/KRDataFileBinary.h"
#include "storage/formats/KRDataFileMatBinary.h"

#include <numeric>

namespace storagetest {

using containertest::containerOf;
using svtest::bytesOf;
using svtest::contentOf;
using svtest::raw;
using svtest::ScratchFolder;
using svtest::store;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

using File = KRDataFile::Pointer;
using Names = std::vector<std::string>;

// Messages as "short" or "short|long", serious ones without their stack.
inline Names messagesOf(const std::function<void()>& action)
{
    Names messages = containertest::messagesOf(action);
    for (std::string& message : messages)
        message = message.substr(0, message.find("|(\n"));
    return messages;
}

inline File opened(const std::string& path)
{
    File file = KRDataFile::openFileName(path);
    EXPECT_TRUE(file) << path;
    return file;
}

template <class T>
std::vector<T> numbersOf(const std::shared_ptr<KRArrayContainer<T>>& array)
{
    return array ? std::vector<T>(array->constPointer(), array->constPointer() + array->length())
                 : std::vector<T>();
}

template <class T>
std::shared_ptr<KRArrayContainer<T>> shaped(const std::vector<T>& numbers, long m, long n, long o = 1)
{
    auto array = KRArrayContainer<T>::createArrayOfSizeM(m, n, o);
    std::copy(numbers.begin(), numbers.end(), array->mutablePointer());
    return array;
}

template <class T>
std::vector<T> counted(long count, T from = T(1))
{
    std::vector<T> numbers(static_cast<std::size_t>(count));
    std::iota(numbers.begin(), numbers.end(), from);
    return numbers;
}

inline std::shared_ptr<KRDoubleArrayContainer> doubles(const std::vector<double>& numbers)
{
    return containerOf(numbers);
}

// The report of a variable "new" that was not written.
inline std::string refusalOf(const std::string& path, const std::string& cause)
{
    return "Could not write the variable.|The variable \"new\" was not written into the file \"" + path
        + "\": " + cause + ".";
}

// The reports of functions that a storage doesn't provide.
inline Names notProvided(std::initializer_list<const char*> functions)
{
    Names reports;
    for (const char* function : functions)
        reports.push_back(std::string("Need to overwrite ") + function);
    return reports;
}

// A number, an array as "2x1x1: 1.5 2", a text in quotes, "none".
inline std::string shown(KRDataStorage& storage, const std::string& name)
{
    if (storage.isAString(name))
        return "'" + storage.readRawString(name).value_or("none") + "'";
    const auto array = storage.readDoubleArray(name);
    const auto size = storage.getSizeOfVariable(name);
    std::ostringstream text;
    if (array && array->length() != 1)
        text << size->m << "x" << size->n << "x" << size->o << ":";
    for (const double number : numbersOf(array))
        text << (array->length() == 1 ? "" : " ") << number;
    return array ? text.str() : "none";
}

// All variables of a file, as "name = value; ".
inline std::string shown(KRDataFile& file)
{
    std::string text;
    for (const std::string& name : file.variablesNames())
        text += name + " = " + shown(static_cast<KRDataStorage&>(file), name) + "; ";
    return text;
}

// The reports of writing a number, which is refused.
inline Names refusalsBy(KRDataStorage& storage, const std::string& name = "new")
{
    return messagesOf([&] { EXPECT_FALSE(storage.writeNumber(StorageNumber(1.0), name)); });
}

struct NativeEntry {
    std::string name;
    int type = 1, m = 1, n = 1, o = 1;
    std::string data;
    std::int64_t extraSize = 0; // What the size of the entry tells too much.
};

inline std::string nativeBytes(const NativeEntry& entry)
{
    const auto nameLength = static_cast<std::int32_t>(entry.name.size() + 1);
    const auto size = static_cast<std::int64_t>(28 + entry.name.size() + 1 + entry.data.size());
    std::string bytes = raw(size + entry.extraSize);
    for (const std::int32_t field : {entry.type, entry.m, entry.n, entry.o, nameLength})
        bytes += raw(field);
    return bytes + entry.name + '\0' + entry.data;
}

inline const std::string kMagic("Sorvanta Binary File LE\0", 24); // The beginning of a file of this machine.

inline std::string swapped(std::string bytes)
{
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

// A matrix of a Level 4 file; its data has the byte order that the type tells.
inline std::string matrix(
    int type, int rows, int columns, int imaginary, const std::string& name, const std::string& data)
{
    std::string bytes;
    for (const std::int32_t field : {type, rows, columns, imaginary, static_cast<int>(name.size()) + 1})
        bytes += type >= 1000 ? swapped(raw(field)) : raw(field);
    return bytes + name + '\0' + data;
}

template <class T>
std::string bytesOfNumbers(const std::vector<T>& numbers)
{
    return {reinterpret_cast<const char*>(numbers.data()), numbers.size() * sizeof(T)};
}

template <class Kind>
File openForWriting(const std::string& path)
{
    const File file = Kind::createWithName(path);
    EXPECT_TRUE(file->openFileWithProgress());
    return file;
}

} // namespace storagetest
