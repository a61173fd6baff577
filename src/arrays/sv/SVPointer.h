#pragma once

#include <cstdint>
#include <memory>
#include <type_traits>

// A counted pointer. The last one deletes the object through its virtual destructor. It gives read access
// only. For one thread at a time: the counter isn't locked.
template <class T>
class SVPointer {
public:
    SVPointer() : SVPointer(nullptr) { }
    explicit SVPointer(T* newObject); // Takes the object over; null is allowed.
    SVPointer(const SVPointer& other) : referenceCount(other.referenceCount), object(other.object)
    {
        ++*referenceCount;
    }
    SVPointer& operator=(const SVPointer& other);
    ~SVPointer() { Release(); }

    bool IsNull() const { return object == nullptr; }
    const T* Pointer() const { return object; }
    const T* operator->() const { return object; }
    const T& operator*() const { return *object; }

protected:
    void Release();

    std::int32_t* referenceCount = nullptr;
    T* object = nullptr;
};

// The pointer that may change the object. It is made from an object or from another mutable pointer.
template <class T>
class SVMutablePointer : public SVPointer<T> {
public:
    SVMutablePointer() = default;
    explicit SVMutablePointer(T* newObject) : SVPointer<T>(newObject) { }

    using SVPointer<T>::Pointer;
    using SVPointer<T>::operator->;
    using SVPointer<T>::operator*;
    T* Pointer() { return this->object; }
    T* operator->() { return this->object; }
    T& operator*() { return *this->object; }
};

template <class T>
SVPointer<T>::SVPointer(T* newObject)
{
    std::unique_ptr<T> owned(newObject); // The counter's allocation may fail.
    referenceCount = new std::int32_t(1);
    object = owned.release();
}

template <class T>
SVPointer<T>& SVPointer<T>::operator=(const SVPointer& other)
{
    if (referenceCount == other.referenceCount)
        return *this;
    // Raised before Release(): the old object may own the last other pointer to the new one.
    ++*other.referenceCount;
    std::int32_t* const newCount = other.referenceCount;
    T* const newObject = other.object;
    Release();
    referenceCount = newCount;
    object = newObject;
    return *this;
}

template <class T>
void SVPointer<T>::Release()
{
    static_assert(std::has_virtual_destructor_v<T>, "An SVPointer deletes its object as a T.");
    if (--*referenceCount == 0) {
        delete object;
        delete referenceCount;
    }
}
