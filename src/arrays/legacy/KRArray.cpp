#include "arrays/legacy/KRArray.h"

#include "arrays/kernels/SVElementCopy.h"
#include "arrays/kernels/SVLargePages.h"
#include "arrays/kernels/SVStreamingCopy.h"
#include "arrays/legacy/KRArrayInternal.h"
#include "arrays/legacy/KRArrayMemory.h"
#include "arrays/legacy/KRArrayReports.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <optional>
#include <string>

using namespace krinternal;

namespace {

std::string numberText(long number)
{
    return std::to_string(number);
}

std::string upTo(long size)
{
    return "[0," + std::to_string(size - 1) + "]";
}

// m*n*o elements in bytes; nothing where that is more than a block can hold.
template <class T>
std::optional<long> sizeInBytes(long m, long n, long o)
{
    long bytes = static_cast<long>(sizeof(T));
    for (const long dimension : {m, n, o})
        if (__builtin_mul_overflow(bytes, dimension, &bytes))
            return std::nullopt;
    return bytes;
}

// One entry as the printer writes it. The plus makes a number of an 8-bit entry, which a stream would print
// as a character.
template <class T>
void printEntry(const T& value)
{
    if constexpr (KROrderedElement<T>)
        std::cerr << +value;
    else
        std::cerr << value;
}

} // namespace

template <class T>
KRArrayStorage<T>::KRArrayStorage(long rows, long columns, long layers)
{
    if (!accept(rows, columns, layers))
        return;
    Data = static_cast<T*>(std::malloc(static_cast<std::size_t>(size())));
    if (!Data) {
        KRPutErrorMessage(kMemoryAllocationFailed);
        clear();
        return;
    }
    svinternal::adviseLargePages(Data, static_cast<std::size_t>(size()));
    KRArrayTrace trace = KRArrayMemberOf<T>.trace;
    if (trace.onlyTakenBlocks)
        trace = {};
    countNewStorage(size(), trace);
}

template <class T>
KRArrayStorage<T>::KRArrayStorage(T* block, long rows, long columns, long layers)
{
    const bool accepted = accept(rows, columns, layers);
    if (accepted && block) {
        Data = block;
        countNewStorage(size(), KRArrayMemberOf<T>.trace);
        return;
    }
    if (accepted)
        KRPutErrorMessage(kMemoryAllocationFailed); // The caller's allocation.
    std::free(block);
    clear();
}

template <class T>
KRArrayStorage<T>::~KRArrayStorage()
{
    if (!Data)
        return;
    countEndOfStorage(size());
    std::free(Data);
}

template <class T>
bool KRArrayStorage<T>::accept(long rows, long columns, long layers)
{
    const KRArrayMember& member = KRArrayMemberOf<T>;
    if (rows < 0 || columns < 0 || layers < 0)
        KRPutErrorMessage(member.className + std::string("(P,m,n,o): One of the dimensions is negative (m = ")
            + numberText(rows) + ",n = " + numberText(columns) + ", o = " + numberText(layers) + ")");
    if (rows < 1 || columns < 1 || layers < 1)
        return false;
    const auto bytes = sizeInBytes<T>(rows, columns, layers);
    if (member.sizeLimit > 0 && (!bytes || *bytes > member.sizeLimit)) {
        KRPutErrorMessage(member.sizeMessage);
        return false;
    }
    if (!bytes) {
        KRPutErrorMessage(kMemoryAllocationFailed);
        return false;
    }
    setDimensions(rows, columns, layers);
    return true;
}

template <class T>
void KRArrayStorage<T>::setDimensions(long rows, long columns, long layers)
{
    m = rows;
    n = columns;
    o = layers;
    mn = m * n;
    length = mn * o;
}

template <class T>
void KRArrayStorage<T>::clear()
{
    Data = nullptr;
    setDimensions(0, 0, 0);
}

template <class T>
bool KRArrayStorage<T>::resize(long rows, long columns, long layers)
{
    // A storage of the new size tests it and enters it in the account.
    KRArrayStorage grown(rows, columns, layers);
    if (!grown.Data)
        return false;
    svinternal::copyElements(Data, std::min(length, grown.length), grown.Data);
    std::swap(Data, grown.Data);
    const long oldM = m, oldN = n, oldO = o;
    setDimensions(grown.m, grown.n, grown.o);
    grown.setDimensions(oldM, oldN, oldO);
    return true;
}

template <class T>
KRArray<T>::KRArray(const KRArray& other) : Storage(other.Storage)
{
    const std::lock_guard guard(Storage->accessLock);
    ++Storage->referenceCount;
}

template <class T>
KRArray<T>& KRArray<T>::operator=(const KRArray& other)
{
    if (Storage == other.Storage)
        return *this;
    // One lock at a time: A = B on one thread and B = A on another can't wait for each other.
    KRArrayStorage<T>* const old = Storage;
    {
        const std::lock_guard guard(other.Storage->accessLock);
        ++other.Storage->referenceCount;
    }
    Storage = other.Storage;
    Release(old);
    return *this;
}

template <class T>
KRArray<T>::~KRArray()
{
    Release(Storage);
}

template <class T>
void KRArray<T>::Release(KRArrayStorage<T>* storage)
{
    storage->accessLock.lock();
    const std::int32_t left = --storage->referenceCount;
    storage->accessLock.unlock();
    if (left == 0)
        delete storage;
}

template <class T>
KRMutableArray<T> KRArray<T>::Copy() const
{
    KRMutableArray<T> copy(m(), n(), o());
    svinternal::copyElements(Pointer(), copy.Length(), copy.Pointer());
    return copy;
}

template <class T>
long KRArray<T>::ReferenceCount() const
{
    const std::lock_guard guard(Storage->accessLock);
    return Storage->referenceCount;
}

template <class T>
void KRArray<T>::ErrorMessage(long i) const
{
    // A position runs over the whole block: its bound is the length.
    KRPutErrorMessage(className<T>() + "(" + numberText(i) + ") out of range " + upTo(Length()) + ".");
}

template <class T>
void KRArray<T>::ErrorMessage(long i, long j) const
{
    KRPutErrorMessage(className<T>() + "(" + numberText(i) + "," + numberText(j) + ") out of range "
        + upTo(m()) + "x" + upTo(n()) + ".");
}

template <class T>
void KRArray<T>::ErrorMessage(long i, long j, long k) const
{
    KRPutErrorMessage(className<T>() + "(" + numberText(i) + "," + numberText(j) + "," + numberText(k)
        + ") out of range " + upTo(m()) + "x" + upTo(n()) + "x" + upTo(o()) + ".");
}

template <class T>
[[gnu::used, gnu::retain]] void KRArray<T>::pall() const
{
    if (m() == 0)
        std::cerr << "Empty" << std::endl;
    for (long j = 0; j < n(); ++j) {
        for (long i = 0; i < m(); ++i) {
            std::cerr << (i > 0 ? ", " : "");
            printEntry(Pointer()[i + j * m()]);
        }
        std::cerr << std::endl;
    }
}

template <class T>
KRMutableArray<T>& KRMutableArray<T>::operator=(T value)
{
    T* const data = Pointer();
    const long length = this->Length();
    if (value != T(0))
        svinternal::computeBlock(data, length, [value](T* to, long count) { std::fill_n(to, count, value); });
    else if (length > 0) // -0.0 equals 0 and is stored as +0.0.
        std::memset(static_cast<void*>(data), 0, static_cast<std::size_t>(length) * sizeof(T));
    return *this;
}

template <class T>
void KRMutableArray<T>::Reshape(long rows, long columns, long layers)
{
    if (!isSizeOf(*this, rows, columns, layers)) {
        KRPutErrorMessage("Internal error: " + className<T>() + "::Reshape: Invalid new size.");
        return;
    }
    if (this->NotEmpty())
        this->Storage->setDimensions(rows, columns, layers);
}

template <class T>
void KRMutableArray<T>::ReshapeAsVector()
{
    if (this->NotEmpty())
        this->Storage->setDimensions(this->Length(), 1, 1);
}

template <class T>
void KRMutableArray<T>::AddArrayTimesNumber(const KRArray<T>& A, T x) requires KRRealElement<T>
{
    if (!haveSameSize(*this, A))
        return;
    T* const to = Pointer();
    const T* const from = A.Pointer();
    for (long i = 0; i < this->Length(); ++i)
        to[i] += x * from[i];
}

template <class T>
void KRMutableArray<T>::SortEntries() requires KROrderedElement<T>
{
    sortEntries(Pointer(), this->Length());
}

template <class T>
void KRMutableArray<T>::SortEntriesUpTo(long howMany) requires KROrderedElement<T>
{
    sortEntries(Pointer(), std::clamp(howMany, 0L, this->Length()));
}

template <class T>
void KRMutableArray<T>::RemoveIdenticalEntriesFromSortedList() requires KROrderedElement<T>
{
    if (this->IsEmpty())
        return;
    const long left = std::unique(Pointer(), Pointer() + this->Length()) - Pointer();
    this->Storage->resize(left, 1, 1);
}

template <class T>
void KRMutableArray<T>::IncreaseSizeBy(long length) requires KRIntegerElement<T>
{
    const auto larger = increasedSize(*this, length);
    if (larger.failure) {
        KRPutErrorMessage("Can't increase the size, mismatch.");
        return;
    }
    if (length > 0)
        this->Storage->resize(larger.m, larger.n, larger.o);
}

template <class T>
bool operator==(const KRArray<T>& A, const KRArray<T>& B)
{
    if (!haveSameSize(A, B))
        return false;
    return A.Pointer() == B.Pointer()
        || std::memcmp(A.Pointer(), B.Pointer(), static_cast<std::size_t>(A.Length()) * sizeof(T)) == 0;
}

#define KR_INSTANTIATE(T)                                                                                    \
    template struct KRArrayStorage<T>;                                                                       \
    template class KRArray<T>;                                                                               \
    template class KRMutableArray<T>;                                                                        \
    template bool operator==(const KRArray<T>&, const KRArray<T>&);

KR_INSTANTIATE(double)
KR_INSTANTIATE(float)
KR_INSTANTIATE(std::int32_t)
KR_INSTANTIATE(std::int64_t)
KR_INSTANTIATE(std::uint64_t)
KR_INSTANTIATE(std::int16_t)
KR_INSTANTIATE(std::uint16_t)
KR_INSTANTIATE(signed char)
KR_INSTANTIATE(unsigned char)
KR_INSTANTIATE(KRComplexNumber)

#undef KR_INSTANTIATE
