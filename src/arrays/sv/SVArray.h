#pragma once

#include "arrays/sv/SVArrayFamily.h"
#include "arrays/sv/SVErrorMessage.h"
#include "arrays/sv/SVLock.h"

#include <cstdint>

// Numeric arrays of up to three dimensions: reference-counted handles on a shared, column-major block. The
// first index runs fastest; element (i,j,k) stands at position i + j*m + k*m*n.
//
// There is no copy on write. Copying or assigning a handle shares the block, and a change through a mutable
// handle is seen by every handle on it; only Copy() makes an independent block. The last handle frees the
// block.
//
// Nothing throws for a caller's mistake: it is reported through SVErrorMessage, and the result is 0, an empty
// array or an unchanged target. Only a lack of memory throws (std::bad_alloc).
//
// Two threads may read one array; they must not copy, assign or destroy handles on one block at the same
// moment.

// The block that handles share. An empty one is always 0 x 0 x 0.
template <class T>
struct SVArrayStorage {
    SVLock accessLock; // Of the two counters.
    long m;
    long n;
    long o;
    long mn; // m*n, kept to save the three-index access a multiplication.
    long length; // m*n*o
    std::int32_t referenceCount; // Handles of either kind.
    std::int32_t mutableReferences; // How many of them are mutable.
    T* Data; // `length` elements, or null.

    // A dimension below 1 counts as 0, and if one is 0, all three become 0. A negative one is reported in the
    // words of SVArrayFamily. The elements are not cleared. A size beyond 64 bits throws std::bad_alloc.
    SVArrayStorage(long rows, long columns, long layers);
    ~SVArrayStorage();
    SVArrayStorage(const SVArrayStorage&) = delete;
    SVArrayStorage& operator=(const SVArrayStorage&) = delete;
};

// The operations of every read-only handle. Use it by the name of a family member, such as SVDoubleArray.
template <class T>
class SVArrayHandle {
public:
    SVArrayHandle(); // Empty, on a storage of its own.
    SVArrayHandle(const SVArrayHandle& other);
    SVArrayHandle& operator=(const SVArrayHandle& other);
    // Defined here, like that of the mutable handle, so that the compiler emits the table of virtual
    // functions in each program, and with it the debug information by which a debugger finds the printers
    // below.
    virtual ~SVArrayHandle()
    {
        if (Storage != nullptr)
            Release(0);
    }

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

    SVMutableArray<T> Copy() const; // A block of its own, with the same dimensions and elements.

    // The counters of the storage, for diagnosis.
    long ReferenceCount() const;
    long MutableReferences() const;

    // The reports of a bad index; kept out of line so that the access itself stays small.
    void PrintErrorMessage(long i) const;
    void PrintErrorMessage(long i, long j) const;
    void PrintErrorMessage(long i, long j, long k) const;

    // Printers to be called by hand from a debugger. They write to the standard error stream.
    void pinfo() const; // The dimensions; the entries of a short vector of doubles.
    void pi(int i) const; // Row i.
    void pj(int j) const; // Column j.
    void pall() const; // The first layer, a line for each column.
    T e(int i) const; // The elements, without the report layer.
    T e(int i, int j) const;
    T e(int i, int j, int k) const;

protected:
    SVArrayHandle(long rows, long columns, long layers);

    // Releases the storage and shares other's. `mutableHandles` is 1 if this handle counts as mutable, else
    // 0.
    void Share(const SVArrayHandle& other, std::int32_t mutableHandles);
    void Release(std::int32_t mutableHandles);

    static bool IsInside(long index, long size) { return index >= 0 && index < size; }
    template <class... Index>
    void ReportBadIndex(Index... index) const;
    void PrintColumn(long j) const;

    SVArrayStorage<T>* Storage;
    T invalidEntry = 0;

private:
    using Lists = svinternal::ErrorLists;
    [[gnu::cold, gnu::pure]] Lists* PrepareReport(long occasion, long i) const noexcept;
    [[gnu::cold, gnu::pure]] Lists* PrepareReport(long occasion, long i, long j) const noexcept;
    [[gnu::cold, gnu::pure]] Lists* PrepareReport(long occasion, long i, long j, long k) const noexcept;
};

// Find() and the printers of ranges, for the members that have them.
template <class T, bool present = SVArrayMemberOf<T>.findAndRanges>
class SVArrayFinder : public SVArrayHandle<T> {
public:
    SVArrayFinder() = default;

protected:
    using SVArrayHandle<T>::SVArrayHandle;
};

template <class T>
class SVArrayFinder<T, true> : public SVArrayHandle<T> {
public:
    SVArrayFinder() = default;

    long Find(T value) const; // The first position whose element equals value, or -1.

    void prange(int s, int e) const; // Positions s to e, both included.
    void pcrange(int s, int e) const; // Columns s to e, a line for each.

protected:
    using SVArrayHandle<T>::SVArrayHandle;
};

// psigns(), for the members that have it.
template <class T, bool present = SVArrayMemberOf<T>.signs != SVArraySignPrinter::None>
class SVArraySigns : public SVArrayFinder<T> {
public:
    SVArraySigns() = default;

protected:
    using SVArrayFinder<T>::SVArrayFinder;
};

template <class T>
class SVArraySigns<T, true> : public SVArrayFinder<T> {
public:
    SVArraySigns() = default;

    void psigns() const; // A character for each entry of a matrix, a line for each column.

protected:
    using SVArrayFinder<T>::SVArrayFinder;
};

// The read-only handle.
template <class T>
class SVArray : public SVArraySigns<T> {
public:
    SVArray() = default;

protected:
    using SVArraySigns<T>::SVArraySigns;
};

// The handle that can write. It is made by size or from another mutable handle, never from a read-only one.
// Don't assign through a reference to its read-only base: the count of mutable handles would become wrong.
template <class T>
class SVMutableArray : public SVArray<T> {
public:
    SVMutableArray();
    explicit SVMutableArray(long rows, long columns = 1, long layers = 1); // Not cleared.
    SVMutableArray(const SVMutableArray& other);
    SVMutableArray& operator=(const SVMutableArray& other);
    ~SVMutableArray() override { this->Release(1); } // Sets Storage to null: the base then does nothing.

    SVMutableArray& operator=(T value); // Fills. A value that equals 0 is stored as +0.

    using SVArray<T>::Pointer;
    T* Pointer() { return this->Storage->Data; }

    // A bad index gives a reference to this handle's invalid entry, so a write through it changes no element.
    using SVArray<T>::operator();
    T& operator()(long i);
    T& operator()(long i, long j);
    T& operator()(long i, long j, long k);
};

// Exchanges the storages of two handles.
template <class T>
void Swap(SVMutableArray<T>& A, SVMutableArray<T>& B);

// Dimensions and bytes agree: a NaN equals a NaN of the same bits, and 0.0 differs from -0.0.
template <class T>
bool operator==(const SVArray<T>& A, const SVArray<T>& B);
template <class T>
bool operator!=(const SVArray<T>& A, const SVArray<T>& B)
{
    return !(A == B);
}

// Arithmetic in place for double and float, element by element. An array of other dimensions is reported and
// leaves A as it is.
template <class T, SVOnlyIf<SVArrayMemberOf<T>.arithmetic> = 0>
SVMutableArray<T>& operator*=(SVMutableArray<T>& A, SVArrayNumber<T> x);
template <class T, SVOnlyIf<SVArrayMemberOf<T>.arithmetic> = 0>
SVMutableArray<T>& operator/=(SVMutableArray<T>& A, SVArrayNumber<T> x);
template <class T, SVOnlyIf<SVArrayMemberOf<T>.arithmetic> = 0>
SVMutableArray<T>& operator+=(SVMutableArray<T>& A, SVArrayNumber<T> x);
template <class T, SVOnlyIf<SVArrayMemberOf<T>.arithmetic> = 0>
SVMutableArray<T>& operator-=(SVMutableArray<T>& A, SVArrayNumber<T> x);
template <class T, SVOnlyIf<SVArrayMemberOf<T>.arithmetic> = 0>
SVMutableArray<T>& operator*=(SVMutableArray<T>& A, const SVArray<T>& B);
template <class T, SVOnlyIf<SVArrayMemberOf<T>.arithmetic> = 0>
SVMutableArray<T>& operator/=(SVMutableArray<T>& A, const SVArray<T>& B);
template <class T, SVOnlyIf<SVArrayMemberOf<T>.arithmetic> = 0>
SVMutableArray<T>& operator+=(SVMutableArray<T>& A, const SVArray<T>& B);
template <class T, SVOnlyIf<SVArrayMemberOf<T>.arithmetic> = 0>
SVMutableArray<T>& operator-=(SVMutableArray<T>& A, const SVArray<T>& B);

// The hot path: small enough to be inlined.
//
// A report changes no array. A compiler that knows this keeps dimensions and pointer in registers, removes
// the test from a plain loop over i and j, and generates the same code as for the raw pointer: a fill within
// the cache is five times as fast. `gnu::pure` on PrepareReport() tells it. A pure function must change
// nothing that the program can read, so PrepareReport() adds the report to a list that the program doesn't
// see, and this function, which is inlined, swaps the two lists.
//
// A pure function may also be called once for two accesses, or not at all. The empty statement prevents that:
// for the compiler each access passes a new value of `occasion`, and the result is used.
template <class T>
template <class... Index>
inline void SVArrayHandle<T>::ReportBadIndex(Index... index) const
{
    long occasion = 0;
    asm volatile("" : "+r"(occasion));
    Lists* const lists = PrepareReport(occasion, index...);
    lists->shown.swap(lists->prepared);
}

template <class T>
inline T SVArrayHandle<T>::operator()(long i) const
{
    if (IsInside(i, Storage->length))
        return Storage->Data[i];
    ReportBadIndex(i);
    return invalidEntry;
}

template <class T>
inline T SVArrayHandle<T>::operator()(long i, long j) const
{
    if (IsInside(i, Storage->m) && IsInside(j, Storage->n))
        return Storage->Data[i + j * Storage->m];
    ReportBadIndex(i, j);
    return invalidEntry;
}

template <class T>
inline T SVArrayHandle<T>::operator()(long i, long j, long k) const
{
    if (IsInside(i, Storage->m) && IsInside(j, Storage->n) && IsInside(k, Storage->o))
        return Storage->Data[i + j * Storage->m + k * Storage->mn];
    ReportBadIndex(i, j, k);
    return invalidEntry;
}

template <class T>
inline T& SVMutableArray<T>::operator()(long i)
{
    if (this->IsInside(i, this->Storage->length))
        return this->Storage->Data[i];
    this->ReportBadIndex(i);
    return this->invalidEntry;
}

template <class T>
inline T& SVMutableArray<T>::operator()(long i, long j)
{
    if (this->IsInside(i, this->Storage->m) && this->IsInside(j, this->Storage->n))
        return this->Storage->Data[i + j * this->Storage->m];
    this->ReportBadIndex(i, j);
    return this->invalidEntry;
}

template <class T>
inline T& SVMutableArray<T>::operator()(long i, long j, long k)
{
    if (this->IsInside(i, this->Storage->m) && this->IsInside(j, this->Storage->n)
        && this->IsInside(k, this->Storage->o))
        return this->Storage->Data[i + j * this->Storage->m + k * this->Storage->mn];
    this->ReportBadIndex(i, j, k);
    return this->invalidEntry;
}
