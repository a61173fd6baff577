#pragma once

#include "arrays/sv/SVErrorMessage.h"

#include <cstdint>
#include <memory>

// A read-only handle on a reference-counted list of elements of any default-constructible type, for strings
// and small records. Copying shares the elements. For one thread at a time: the counter isn't locked.
template <class T>
class SVList {
public:
    SVList() : SVList(0L) { }
    SVList(const SVList& other) : Data(other.Data), length(other.length), referenceCount(other.referenceCount)
    {
        ++*referenceCount;
    }
    SVList& operator=(const SVList& other);
    ~SVList() { Release(); }

    long Length() const { return length; }
    bool IsEmpty() const { return length == 0; }
    bool NotEmpty() const { return length != 0; }

    // The element at that position; a bad one is reported and gives the invalid entry, a default-made T. The
    // reference is valid as long as a handle on the list exists.
    const T& operator()(long i) const;

    const T* Pointer() const { return Data; } // Null if the list is empty.

protected:
    explicit SVList(long howMany);
    void Release();

    T* Data = nullptr;
    long length = 0;
    std::int32_t* referenceCount = nullptr;
    T invalidEntry{};
};

// The list that can be written to. It is made by length, or from another mutable one.
template <class T>
class SVMutableList : public SVList<T> {
public:
    SVMutableList() = default;
    explicit SVMutableList(long howMany) : SVList<T>(howMany) { } // A negative length counts as 0.

    using SVList<T>::operator();
    T& operator()(long i);

    using SVList<T>::Pointer;
    T* Pointer() { return this->Data; }
};

template <class T>
SVList<T>::SVList(long howMany) : length(howMany > 0 ? howMany : 0)
{
    // In smart pointers until both exist: the second allocation, or an element's constructor, may throw.
    auto counter = std::make_unique<std::int32_t>(1);
    std::unique_ptr<T[]> elements(length > 0 ? new T[static_cast<std::size_t>(length)] : nullptr);
    referenceCount = counter.release();
    Data = elements.release();
}

template <class T>
SVList<T>& SVList<T>::operator=(const SVList& other)
{
    if (referenceCount == other.referenceCount)
        return *this;
    // Copied before Release(): one of the old elements may own `other`.
    T* const newData = other.Data;
    const long newLength = other.length;
    std::int32_t* const newCount = other.referenceCount;
    ++*newCount;
    Release();
    Data = newData;
    length = newLength;
    referenceCount = newCount;
    return *this;
}

template <class T>
void SVList<T>::Release()
{
    if (--*referenceCount == 0) {
        delete[] Data;
        delete referenceCount;
    }
    Data = nullptr;
    referenceCount = nullptr;
    length = 0;
}

template <class T>
const T& SVList<T>::operator()(long i) const
{
    if (i >= 0 && i < length)
        return Data[i];
    SVErrorOutOfRange("SVList<T>", i, length);
    return invalidEntry;
}

template <class T>
T& SVMutableList<T>::operator()(long i)
{
    if (i >= 0 && i < this->length)
        return this->Data[i];
    SVErrorOutOfRange("SVList<T>", i, this->length);
    return this->invalidEntry;
}
