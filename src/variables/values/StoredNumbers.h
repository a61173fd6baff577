#pragma once

#include "storage/KRDataStorage.h"
#include "variables/values/KRContainer.h"

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace variables {

// The numbers that a value type finds under a name, converted to its element type.
template <class T>
struct StoredNumbers {
    std::string name; // Where redirections ended.
    KRDataStorage::ArrayPointer<T> array; // Null without one.

    explicit operator bool() const { return array != nullptr; }
    long length() const { return array->length(); }
    bool hasSize(long m, long n) const { return array->m() == m && array->n() == n && array->o() == 1; }
    const T* begin() const { return array->constPointer(); }
    const T* end() const { return begin() + length(); }
    T operator[](long i) const { return begin()[i]; }
    T operator()(long i, long j) const { return array->valueAtI(i, j); }
};

template <class T>
StoredNumbers<T> storedNumbers(KRDataStorage& storage, const std::string& name)
{
    StoredNumbers<T> found;
    const auto end = storage.resolveNameAllowingRedirection(name);
    if (!end)
        return found;
    found.name = *end;
    // An empty value may have any type: a series writes doubles for a step without value.
    if (const auto size = storage.getSizeOfVariable(found.name); size && size->m == 0) {
        found.array = KRArrayContainer<T>::createArrayOfLength(0);
        return found;
    }
    if constexpr (std::is_same_v<T, float>)
        found.array = storage.readFloatArray(found.name);
    else
        found.array = storage.readDoubleArray(found.name);
    return found;
}

// An array of m rows in column order; a vector unless told otherwise. None without memory for it.
template <class T>
KRAnyArray arrayOf(std::initializer_list<T> numbers, long m = -1)
{
    const auto length = static_cast<long>(numbers.size());
    const long rows = m < 0 ? length : m;
    auto array = KRArrayContainer<T>::createArrayOfSizeM(rows, rows == 0 ? 0 : length / rows);
    if (array)
        std::copy(numbers.begin(), numbers.end(), array->mutablePointer());
    return array;
}

// Reads numbers from a stream as "%lg" does, with a decimal point in every locale. False at the first that
// isn't there.
bool readNumbers(std::FILE* stream, std::span<double> numbers);
bool writeText(std::FILE* stream, const std::string& text); // False when not all of it could be written.

// A value from its container, with the extra parameters that are stored for it.
template <class Container>
KRContainer::Value withParameters(
    std::shared_ptr<Container> container, KRDataStorage& storage, const std::string& name)
{
    if (container)
        container->readFromFile(storage, name);
    return container;
}

} // namespace variables

// A value that is one small array in a file. Two are equal when their arrays are.
class KRContainerOfNumbers : public KRContainer {
public:
    virtual KRAnyArray storedArray() const = 0;

    std::uint64_t memoryUsed() const override;
    bool isEqualTo(const KRSharedValue& other) const override;
    using KRContainer::saveIntoFile;
    bool saveIntoFile(KRDataStorage& file, const std::string& withName) const override;
};
