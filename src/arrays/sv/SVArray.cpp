#include "arrays/sv/SVArray.h"

#include "arrays/kernels/SVElementCount.h"
#include "arrays/kernels/SVLargePages.h"
#include "arrays/kernels/SVStreamingCopy.h"
#include "arrays/sv/SVErrorMessage.h"
#include "arrays/sv/SVSameSizeInternal.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <functional>
#include <iostream>

using namespace svinternal;

// For functions that only a debugger calls: the linker keeps them, also with --gc-sections.
#define SV_KEPT [[gnu::used, gnu::retain]]

namespace {

template <class T>
void reportNegativeSize()
{
    if constexpr (SVArrayMemberOf<T>.negativeSizeWord != nullptr)
        SVErrorMessage(SVArrayMemberOf<T>.negativeSizeWord, "Negative index in constructor");
}

template <class T, class Operation>
SVMutableArray<T>& applyNumber(SVMutableArray<T>& A, T x, Operation operation)
{
    T* const a = A.Pointer();
    const long length = A.Length();
    for (long i = 0; i < length; ++i)
        a[i] = operation(a[i], x);
    return A;
}

template <class T, class Operation>
SVMutableArray<T>& applyArray(
    SVMutableArray<T>& A, const SVArray<T>& B, Operation operation, const char* functionWord)
{
    if (!sameSize(A, B)) {
        SVErrorMessage(functionWord, "Incompatible sizes.");
        return A;
    }
    T* const a = A.Pointer();
    const T* const b = B.Pointer();
    const long length = A.Length();
    for (long i = 0; i < length; ++i)
        a[i] = operation(a[i], b[i]);
    return A;
}

// One entry as the printers write it. The plus makes a number of an 8-bit entry, which a stream would print
// as a character.
template <class T>
void printEntry(T value)
{
    std::cerr << +value;
}

template <class T>
void printEntries(const T* first, long count, long step, const char* separator)
{
    for (long number = 0; number < count; ++number) {
        if (number > 0)
            std::cerr << separator;
        printEntry(first[number * step]);
    }
}

template <class T>
char signOf(T value)
{
    if constexpr (SVArrayMemberOf<T>.signs == SVArraySignPrinter::FiniteAndNonFinite) {
        if (std::isnan(value))
            return '*';
        // P is the negative infinity and M the positive one, as in existing logs: don't swap them.
        if (std::isinf(value))
            return value < 0 ? 'P' : 'M';
    }
    return value < 0 ? '-' : value > 0 ? '+' : '0';
}

} // namespace

template <class T>
SVArrayStorage<T>::SVArrayStorage(long rows, long columns, long layers)
    : m(std::max(rows, 0L)), n(std::max(columns, 0L)), o(std::max(layers, 0L)), mn(0), length(0),
      referenceCount(1), mutableReferences(0), Data(nullptr)
{
    if (rows < 0 || columns < 0 || layers < 0)
        reportNegativeSize<T>();
    length = elementCount(m, n, o);
    if (length == 0) {
        m = n = o = 0;
        return;
    }
    mn = m * n;
    Data = new T[static_cast<std::size_t>(length)]; // Not cleared: most arrays are filled at once.
    svinternal::adviseLargePages(Data, static_cast<std::size_t>(length) * sizeof(T));
}

template <class T>
SVArrayStorage<T>::~SVArrayStorage()
{
    delete[] Data;
}

template <class T>
SVArrayHandle<T>::SVArrayHandle() : SVArrayHandle(0, 0, 0)
{ }

template <class T>
SVArrayHandle<T>::SVArrayHandle(long rows, long columns, long layers)
    : Storage(new SVArrayStorage<T>(rows, columns, layers))
{ }

template <class T>
SVArrayHandle<T>::SVArrayHandle(const SVArrayHandle& other) : Storage(other.Storage)
{
    Storage->accessLock.Lock();
    ++Storage->referenceCount;
    Storage->accessLock.Unlock();
}

template <class T>
SVArrayHandle<T>& SVArrayHandle<T>::operator=(const SVArrayHandle& other)
{
    Share(other, 0);
    return *this;
}

template <class T>
void SVArrayHandle<T>::Share(const SVArrayHandle& other, std::int32_t mutableHandles)
{
    SVArrayStorage<T>* const old = Storage;
    SVArrayStorage<T>* const shared = other.Storage;
    if (old == shared)
        return;
    old->accessLock.Lock();
    shared->accessLock.Lock();
    const std::int32_t left = --old->referenceCount;
    old->mutableReferences -= mutableHandles;
    old->accessLock.Unlock();
    if (left == 0)
        delete old;
    Storage = shared;
    ++shared->referenceCount;
    shared->mutableReferences += mutableHandles;
    shared->accessLock.Unlock();
}

template <class T>
void SVArrayHandle<T>::Release(std::int32_t mutableHandles)
{
    Storage->accessLock.Lock();
    const std::int32_t left = --Storage->referenceCount;
    Storage->mutableReferences -= mutableHandles;
    Storage->accessLock.Unlock();
    if (left == 0)
        delete Storage;
    Storage = nullptr;
}

template <class T>
SVMutableArray<T> SVArrayHandle<T>::Copy() const
{
    SVMutableArray<T> copy(m(), n(), o());
    std::copy_n(Storage->Data, Storage->length, copy.Pointer());
    return copy;
}

template <class T>
long SVArrayHandle<T>::ReferenceCount() const
{
    Storage->accessLock.Lock();
    const long count = Storage->referenceCount;
    Storage->accessLock.Unlock();
    return count;
}

template <class T>
long SVArrayHandle<T>::MutableReferences() const
{
    Storage->accessLock.Lock();
    const long count = Storage->mutableReferences;
    Storage->accessLock.Unlock();
    return count;
}

template <class T>
void SVArrayHandle<T>::PrintErrorMessage(long i) const
{
    // A position runs over the whole block: its bound is the length.
    SVErrorOutOfRange(SVArrayMemberOf<T>.classWord, i, Length());
}

template <class T>
void SVArrayHandle<T>::PrintErrorMessage(long i, long j) const
{
    SVErrorOutOfRange(SVArrayMemberOf<T>.classWord, i, j, m(), n());
}

template <class T>
void SVArrayHandle<T>::PrintErrorMessage(long i, long j, long k) const
{
    SVErrorOutOfRange(SVArrayMemberOf<T>.classWord, i, j, k, m(), n(), o());
}

// The "memory" statement is for link-time optimisation, which could otherwise drop the writes of a pure
// function.
template <class T>
svinternal::ErrorLists* SVArrayHandle<T>::PrepareReport(long occasion, long i) const noexcept
{
    asm volatile("" : "+r"(occasion) : : "memory");
    return &prepareErrorMessage(outOfRangeText(SVArrayMemberOf<T>.classWord, i, Length()));
}

template <class T>
svinternal::ErrorLists* SVArrayHandle<T>::PrepareReport(long occasion, long i, long j) const noexcept
{
    asm volatile("" : "+r"(occasion) : : "memory");
    return &prepareErrorMessage(outOfRangeText(SVArrayMemberOf<T>.classWord, i, j, m(), n()));
}

template <class T>
svinternal::ErrorLists* SVArrayHandle<T>::PrepareReport(long occasion, long i, long j, long k) const noexcept
{
    asm volatile("" : "+r"(occasion) : : "memory");
    return &prepareErrorMessage(outOfRangeText(SVArrayMemberOf<T>.classWord, i, j, k, m(), n(), o()));
}

template <class T>
SV_KEPT void SVArrayHandle<T>::pinfo() const
{
    const SVArrayMember& member = SVArrayMemberOf<T>;
    if (o() == 0) {
        std::cerr << "Empty";
    } else if (o() != 1) {
        std::cerr << m() << " x " << n() << " x " << o() << member.printedMatrix;
    } else if (n() != 1) {
        std::cerr << m() << " x " << n() << member.printedMatrix;
    } else if (member.printedVector == nullptr) {
        std::cerr << m() << " entries";
    } else if (m() >= 10) {
        std::cerr << member.printedVector << m() << " entries";
    } else {
        std::cerr << "(";
        printEntries(Pointer(), m(), 1, ",");
        std::cerr << ")";
    }
    std::cerr << std::endl;
}

template <class T>
SV_KEPT void SVArrayHandle<T>::pi(int i) const
{
    if (IsInside(i, m()))
        printEntries(Pointer() + i, n(), m(), ", ");
    else
        std::cerr << "Out of bounds.";
    std::cerr << std::endl;
}

template <class T>
SV_KEPT void SVArrayHandle<T>::pj(int j) const
{
    if (IsInside(j, n()))
        PrintColumn(j);
    else
        std::cerr << "Out of bounds." << std::endl;
}

template <class T>
void SVArrayHandle<T>::PrintColumn(long j) const
{
    printEntries(Pointer() + j * m(), m(), 1, ", ");
    std::cerr << std::endl;
}

template <class T>
SV_KEPT void SVArrayHandle<T>::pall() const
{
    if (m() == 0)
        std::cerr << "Empty" << std::endl;
    for (long j = 0; j < n(); ++j)
        PrintColumn(j);
}

template <class T>
SV_KEPT T SVArrayHandle<T>::e(int i) const
{
    if (IsInside(i, Length()))
        return Storage->Data[i];
    std::cerr << "Out of bounds" << std::endl;
    return invalidEntry;
}

template <class T>
SV_KEPT T SVArrayHandle<T>::e(int i, int j) const
{
    if (IsInside(i, m()) && IsInside(j, n()))
        return Storage->Data[i + j * m()];
    std::cerr << "Out of bounds" << std::endl;
    return invalidEntry;
}

template <class T>
SV_KEPT T SVArrayHandle<T>::e(int i, int j, int k) const
{
    if (IsInside(i, m()) && IsInside(j, n()) && IsInside(k, o()))
        return Storage->Data[i + j * m() + k * Storage->mn];
    std::cerr << "Out of bounds" << std::endl;
    return invalidEntry;
}

template <class T>
long SVArrayFinder<T, true>::Find(T value) const
{
    const T* const first = this->Pointer();
    const T* const last = first + this->Length();
    const T* const found = std::find(first, last, value);
    return found == last ? -1 : found - first;
}

template <class T>
SV_KEPT void SVArrayFinder<T, true>::prange(int s, int e) const
{
    if (s < 0) {
        std::cerr << "start out of bounds" << std::endl;
    } else if (e >= this->Length()) {
        std::cerr << "end out of bounds" << std::endl;
    } else if (s <= e) {
        printEntries(this->Pointer() + s, long{e} - s + 1, 1, ", ");
        std::cerr << std::endl;
    }
}

template <class T>
SV_KEPT void SVArrayFinder<T, true>::pcrange(int s, int e) const
{
    if (s < 0) {
        std::cerr << "start out of bounds" << std::endl;
    } else if (e >= this->n()) {
        std::cerr << "end out of bounds" << std::endl;
    } else {
        for (long j = s; j <= e; ++j)
            this->PrintColumn(j);
    }
}

template <class T>
SV_KEPT void SVArraySigns<T, true>::psigns() const
{
    if (this->m() == 0) {
        std::cerr << "Empty" << std::endl;
        return;
    }
    if (this->o() >= 2) {
        std::cerr << "only works for 2D arrays" << std::endl;
        return;
    }
    const T* entry = this->Pointer();
    for (long j = 0; j < this->n(); ++j) {
        for (long i = 0; i < this->m(); ++i)
            std::cerr << signOf(*entry++);
        std::cerr << std::endl;
    }
}

template <class T>
SVMutableArray<T>::SVMutableArray() : SVMutableArray(0, 0, 0)
{ }

template <class T>
SVMutableArray<T>::SVMutableArray(long rows, long columns, long layers) : SVArray<T>(rows, columns, layers)
{
    this->Storage->mutableReferences = 1;
}

template <class T>
SVMutableArray<T>::SVMutableArray(const SVMutableArray& other) : SVArray<T>(other)
{
    this->Storage->accessLock.Lock();
    ++this->Storage->mutableReferences;
    this->Storage->accessLock.Unlock();
}

template <class T>
SVMutableArray<T>& SVMutableArray<T>::operator=(const SVMutableArray& other)
{
    this->Share(other, 1);
    return *this;
}

template <class T>
SVMutableArray<T>& SVMutableArray<T>::operator=(T value)
{
    T* const data = this->Storage->Data;
    const long length = this->Storage->length;
    if (value != 0)
        computeBlock(data, length, [value](T* to, long count) { std::fill_n(to, count, value); });
    else if (length > 0) // -0.0 equals 0 and is stored as +0.0.
        std::memset(data, 0, static_cast<std::size_t>(length) * sizeof(T));
    return *this;
}

template <class T>
void Swap(SVMutableArray<T>& A, SVMutableArray<T>& B)
{
    const SVMutableArray<T> held(A);
    A = B;
    B = held;
}

template <class T>
bool operator==(const SVArray<T>& A, const SVArray<T>& B)
{
    if (!sameSize(A, B))
        return false;
    return A.Pointer() == B.Pointer()
        || std::memcmp(A.Pointer(), B.Pointer(), static_cast<std::size_t>(A.Length()) * sizeof(T)) == 0;
}

template <class T, SVOnlyIf<SVArrayMemberOf<T>.arithmetic>>
SVMutableArray<T>& operator*=(SVMutableArray<T>& A, SVArrayNumber<T> x)
{
    return applyNumber(A, x, std::multiplies<T>());
}

template <class T, SVOnlyIf<SVArrayMemberOf<T>.arithmetic>>
SVMutableArray<T>& operator/=(SVMutableArray<T>& A, SVArrayNumber<T> x)
{
    return applyNumber(A, x, std::divides<T>());
}

template <class T, SVOnlyIf<SVArrayMemberOf<T>.arithmetic>>
SVMutableArray<T>& operator+=(SVMutableArray<T>& A, SVArrayNumber<T> x)
{
    return applyNumber(A, x, std::plus<T>());
}

template <class T, SVOnlyIf<SVArrayMemberOf<T>.arithmetic>>
SVMutableArray<T>& operator-=(SVMutableArray<T>& A, SVArrayNumber<T> x)
{
    return applyNumber(A, x, std::minus<T>());
}

template <class T, SVOnlyIf<SVArrayMemberOf<T>.arithmetic>>
SVMutableArray<T>& operator*=(SVMutableArray<T>& A, const SVArray<T>& B)
{
    return applyArray(A, B, std::multiplies<T>(), "A*=B");
}

template <class T, SVOnlyIf<SVArrayMemberOf<T>.arithmetic>>
SVMutableArray<T>& operator/=(SVMutableArray<T>& A, const SVArray<T>& B)
{
    return applyArray(A, B, std::divides<T>(), "A/=B");
}

template <class T, SVOnlyIf<SVArrayMemberOf<T>.arithmetic>>
SVMutableArray<T>& operator+=(SVMutableArray<T>& A, const SVArray<T>& B)
{
    return applyArray(A, B, std::plus<T>(), "A+=B");
}

template <class T, SVOnlyIf<SVArrayMemberOf<T>.arithmetic>>
SVMutableArray<T>& operator-=(SVMutableArray<T>& A, const SVArray<T>& B)
{
    return applyArray(A, B, std::minus<T>(), "A-=B");
}

#define SV_INSTANTIATE(T)                                                                                    \
    template struct SVArrayStorage<T>;                                                                       \
    template class SVArrayHandle<T>;                                                                         \
    template class SVArrayFinder<T>;                                                                         \
    template class SVArraySigns<T>;                                                                          \
    template class SVArray<T>;                                                                               \
    template class SVMutableArray<T>;                                                                        \
    template void Swap(SVMutableArray<T>&, SVMutableArray<T>&);                                              \
    template bool operator==(const SVArray<T>&, const SVArray<T>&);

#define SV_INSTANTIATE_ARITHMETIC(T)                                                                         \
    template SVMutableArray<T>& operator*=(SVMutableArray<T>&, SVArrayNumber<T>);                            \
    template SVMutableArray<T>& operator/=(SVMutableArray<T>&, SVArrayNumber<T>);                            \
    template SVMutableArray<T>& operator+=(SVMutableArray<T>&, SVArrayNumber<T>);                            \
    template SVMutableArray<T>& operator-=(SVMutableArray<T>&, SVArrayNumber<T>);                            \
    template SVMutableArray<T>& operator*=(SVMutableArray<T>&, const SVArray<T>&);                           \
    template SVMutableArray<T>& operator/=(SVMutableArray<T>&, const SVArray<T>&);                           \
    template SVMutableArray<T>& operator+=(SVMutableArray<T>&, const SVArray<T>&);                           \
    template SVMutableArray<T>& operator-=(SVMutableArray<T>&, const SVArray<T>&);

SV_INSTANTIATE(double)
SV_INSTANTIATE(float)
SV_INSTANTIATE(std::int32_t)
SV_INSTANTIATE(std::int16_t)
SV_INSTANTIATE(std::uint16_t)
SV_INSTANTIATE(signed char)
SV_INSTANTIATE(unsigned char)
SV_INSTANTIATE_ARITHMETIC(double)
SV_INSTANTIATE_ARITHMETIC(float)

#undef SV_INSTANTIATE
#undef SV_INSTANTIATE_ARITHMETIC
