#pragma once

#include "arrays/legacy/KRArrayFamily.h"

#include <cstdint>
#include <mutex>

// The arrays of the object layer: numeric arrays of up to three dimensions, as handles on a shared,
// column-major block. The first index runs fastest; element (i,j,k) stands at position i + j*m + k*m*n.
//
// There is no copy on write. Copying or assigning a handle shares the block, and a change through a mutable
// handle, also of the shape, is seen by every handle on it; only Copy() makes an independent block. The last
// handle frees the block.
//
// Nothing throws for a caller's mistake or for a lack of memory: it is reported through KRPutErrorMessage,
// and the result is 0, an empty array or an unchanged target.
//
// A mutex guards the count of handles, so different threads may copy, assign and destroy different handles on
// one block at the same moment. The elements have no lock: threads may share them for reading.

// The block that handles share. An empty one is always 0 x 0 x 0.
template <class T>
struct KRArrayStorage {
    std::mutex accessLock; // Of the reference count.
    T* Data = nullptr; // `length` elements from std::malloc, or null.
    long m = 0;
    long n = 0;
    long o = 0;
    long mn = 0; // m*n, kept to save the three-index access a multiplication.
    long length = 0; // m*n*o
    std::int32_t referenceCount = 1;

    KRArrayStorage() = default;
    // A dimension below 1 counts as 0, and if one is 0, all three become 0; a negative one is reported. The
    // elements are not cleared. Beyond the member's size limit, or without memory, the storage reports and is
    // empty.
    KRArrayStorage(long rows, long columns, long layers);
    // Takes over a block from std::malloc with room for rows*columns*layers elements. It is freed at once if
    // the storage becomes empty.
    KRArrayStorage(T* block, long rows, long columns, long layers);
    ~KRArrayStorage();
    KRArrayStorage(const KRArrayStorage&) = delete;
    KRArrayStorage& operator=(const KRArrayStorage&) = delete;

    // Of the same block, whose length must stay m*n*o.
    void setDimensions(long rows, long columns, long layers);
    // Changes the block to another length, as a vector or with the given dimensions, and keeps the first
    // elements; new ones are not cleared. Without memory it reports, changes nothing and answers false.
    bool resize(long rows, long columns, long layers);

private:
    // Sets the dimensions, clamped; false if the storage has to stay empty.
    bool accept(long rows, long columns, long layers);
    void clear();
    long size() const { return length * static_cast<long>(sizeof(T)); } // In bytes.
};

// The read-only handle. Use it by the name of a family member, such as DoubleArray.
template <class T>
class KRArray {
    static_assert(KRIsArrayElement<T>);

public:
    using Element = T;

    KRArray() : KRArray(On{new KRArrayStorage<T>()}) { } // Empty, on a storage of its own.
    KRArray(const KRArray& other);
    KRArray& operator=(const KRArray& other);
    virtual ~KRArray();

    long m() const { return Storage->m; }
    long n() const { return Storage->n; }
    long o() const { return Storage->o; }
    long Length() const { return Storage->length; }
    bool IsEmpty() const { return Storage->length == 0; }
    bool NotEmpty() const { return Storage->length != 0; }

    const T* Pointer() const { return Storage->Data; } // Null if empty.

    // Element access. An index out of its bounds is reported and gives this handle's invalid entry. That is 0
    // until a program writes to it through a bad index of a mutable handle.
    T operator()(long i) const; // By position, whatever the dimensions.
    T operator()(long i, long j) const; // In the first layer.
    T operator()(long i, long j, long k) const;

    KRMutableArray<T> Copy() const; // A block of its own, with the same dimensions and elements.

    long ReferenceCount() const; // Handles on the block, for diagnosis.

    // The reports of a bad index; kept out of line so that the access itself stays small.
    [[gnu::cold]] void ErrorMessage(long i) const;
    [[gnu::cold]] void ErrorMessage(long i, long j) const;
    [[gnu::cold]] void ErrorMessage(long i, long j, long k) const;

    // For a debugger: the first layer on the standard error stream, a line for each column.
    void pall() const;

protected:
    // Keeps a literal 0, which is a length, from being taken for a null pointer.
    struct On {
        KRArrayStorage<T>* storage;
    };
    explicit KRArray(On on) : Storage(on.storage) { }
    static bool IsInside(long index, long size) { return index >= 0 && index < size; }

    KRArrayStorage<T>* Storage;
    T invalidEntry{};

private:
    static void Release(KRArrayStorage<T>* storage);
};

// The handle that can write. It is made by size, by taking over a block, or from another mutable handle,
// never from a read-only one.
template <class T>
class KRMutableArray : public KRArray<T> {
public:
    KRMutableArray() = default;
    explicit KRMutableArray(long rows, long columns = 1, long layers = 1) // Not cleared.
        : KRMutableArray(On{new KRArrayStorage<T>(rows, columns, layers)})
    { }
    // An array on a block from std::malloc, which it frees in the end.
    static KRMutableArray TakeOver(T* block, long rows, long columns = 1, long layers = 1)
    {
        return KRMutableArray(On{new KRArrayStorage<T>(block, rows, columns, layers)});
    }
    KRMutableArray(const KRMutableArray&) = default;
    KRMutableArray& operator=(const KRMutableArray&) = default;

    KRMutableArray& operator=(T value); // Fills. A value that equals 0 is stored as +0.

    using KRArray<T>::Pointer;
    T* Pointer() { return this->Storage->Data; }

    // A bad index gives a reference to this handle's invalid entry, so a write through it changes no element.
    using KRArray<T>::operator();
    T& operator()(long i);
    T& operator()(long i, long j);
    T& operator()(long i, long j, long k);

    // In place, for all handles on the block. A size that doesn't fit is reported and changes nothing.
    void Reshape(long rows, long columns, long layers);
    void ReshapeAsVector();

    // Adds x times A, entry by entry. An array of other dimensions changes nothing.
    void AddArrayTimesNumber(const KRArray<T>& A, T x) requires KRRealElement<T>;

    // Ascending; a NaN comes behind every number.
    void SortEntries() requires KROrderedElement<T>;
    void SortEntriesUpTo(long howMany) // Only the first ones; the others stay in place.
        requires KROrderedElement<T>;
    // Keeps the first of equal neighbours, as a vector.
    void RemoveIdenticalEntriesFromSortedList() requires KROrderedElement<T>;

    // Room for so many more elements, which are not cleared: rows of a vector, whole columns of a matrix,
    // whole layers of a volume. For all handles on the block; pointers to the elements become invalid.
    void IncreaseSizeBy(long length) requires KRIntegerElement<T>;

private:
    using typename KRArray<T>::On;
    explicit KRMutableArray(On on) : KRArray<T>(on) { }
};

// Dimensions and bytes agree: a NaN equals a NaN of the same bits, and 0.0 differs from -0.0.
template <class T>
bool operator==(const KRArray<T>& A, const KRArray<T>& B);

// The hot path: small enough to be inlined.

template <class T>
inline T KRArray<T>::operator()(long i) const
{
    if (IsInside(i, Storage->length))
        return Storage->Data[i];
    ErrorMessage(i);
    return invalidEntry;
}

template <class T>
inline T KRArray<T>::operator()(long i, long j) const
{
    if (IsInside(i, Storage->m) && IsInside(j, Storage->n))
        return Storage->Data[i + j * Storage->m];
    ErrorMessage(i, j);
    return invalidEntry;
}

template <class T>
inline T KRArray<T>::operator()(long i, long j, long k) const
{
    if (IsInside(i, Storage->m) && IsInside(j, Storage->n) && IsInside(k, Storage->o))
        return Storage->Data[i + j * Storage->m + k * Storage->mn];
    ErrorMessage(i, j, k);
    return invalidEntry;
}

template <class T>
inline T& KRMutableArray<T>::operator()(long i)
{
    if (this->IsInside(i, this->Storage->length))
        return this->Storage->Data[i];
    this->ErrorMessage(i);
    return this->invalidEntry;
}

template <class T>
inline T& KRMutableArray<T>::operator()(long i, long j)
{
    if (this->IsInside(i, this->Storage->m) && this->IsInside(j, this->Storage->n))
        return this->Storage->Data[i + j * this->Storage->m];
    this->ErrorMessage(i, j);
    return this->invalidEntry;
}

template <class T>
inline T& KRMutableArray<T>::operator()(long i, long j, long k)
{
    if (this->IsInside(i, this->Storage->m) && this->IsInside(j, this->Storage->n)
        && this->IsInside(k, this->Storage->o))
        return this->Storage->Data[i + j * this->Storage->m + k * this->Storage->mn];
    this->ErrorMessage(i, j, k);
    return this->invalidEntry;
}
