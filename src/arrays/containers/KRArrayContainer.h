#pragma once

#include "arrays/containers/KRArrayContainerFamily.h"
#include "arrays/legacy/KRArray.h"
#include "platform/plist/Value.h"

#include <concepts>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// An array of the object layer as a shared object: what storages hand in and out. It holds either a read-only
// or a mutable array, never both, and the array's dimensions and pointer, so that reaching an element needs
// no call. Use it by the name of a family member, such as KRDoubleArrayContainer.
//
// Whoever creates one owns it by the shared pointer. A container has no lock: threads may share one for
// reading. Failures are reported to the message center, and give null, 0, false or an empty array; a null
// argument is harmless. Functions that change a container need a mutable one unless a line says otherwise.
//
// A change of shape through another handle on the same array isn't seen by a container.
template <class T>
class KRArrayContainer {
public:
    using Element = T;
    using Pointer = std::shared_ptr<KRArrayContainer>;
    using ConstPointer = std::shared_ptr<const KRArrayContainer>;

    // Of m x n x o elements, mutable and not cleared. Null without memory for them; a negative dimension
    // counts as 0.
    static Pointer createArrayOfLength(long length);
    static Pointer createArrayOfSizeM(long m, long n, long o = 1);
    // On an array that the caller may keep: both share its elements.
    static Pointer createArrayWithConstObject(const KRArray<T>& array);
    static Pointer createArrayWithMutableObject(const KRMutableArray<T>& array);
    // Null for a null pointer, with a report.
    static Pointer createArrayByOvertakingPointer(std::unique_ptr<KRArray<T>> array);
    static Pointer createArrayByOvertakingMutablePointer(std::unique_ptr<KRMutableArray<T>> array);

    // A container without an array, which is a mistake and reports it, and so does its end.
    KRArrayContainer();
    ~KRArrayContainer();
    KRArrayContainer(const KRArrayContainer&) = delete;
    KRArrayContainer& operator=(const KRArrayContainer&) = delete;

    long m() const { return mV_; }
    long n() const { return nV_; }
    long o() const { return oV_; }
    long length() const { return lengthV_; }
    bool isEmpty() const { return lengthV_ == 0; }
    bool isMutable() const { return mutableVersion_ != nullptr; }
    long memoryUsed() const { return lengthV_ * static_cast<long>(sizeof(T)); } // In bytes.

    // The array as a handle of its own. The mutable one of a read-only container is empty, with a report.
    KRArray<T> array() const;
    KRMutableArray<T> mutableArray();
    // The container's own handles; null without an array. Null and a report for a mutable one that isn't
    // there.
    const KRArray<T>* arrayPointer() const;
    KRMutableArray<T>* mutableArrayPointer();
    // The elements, null if empty.
    const T* constPointer() const { return constPointer_; }
    T* mutablePointer();

    // An index out of bounds is reported; reading gives 0, and setting changes nothing.
    T valueAtIndex(long i) const { return isInside(i, lengthV_) ? constPointer_[i] : array()(i); }
    T valueAtI(long i, long j) const
    {
        return isInside(i, mV_) && isInside(j, nV_) ? constPointer_[i + j * mV_] : array()(i, j);
    }
    void setValue(T value, long atIndex)
    {
        if (mutablePointer_ && isInside(atIndex, lengthV_))
            mutablePointer_[atIndex] = value;
        else
            reportSetting();
    }
    void setValue(T value, long atI, long j)
    {
        setValue(value, isInside(atI, mV_) && isInside(j, nV_) ? atI + j * mV_ : -1);
    }
    void setAllValues(T value);
    long findValue(T value) const; // The first position, or -1.

    Pointer mutableCopy() const; // With elements of its own.
    Pointer copy() const; // Read-only. Shares the elements of a read-only container.
    bool isEqualToArray(const ConstPointer& other) const; // Dimensions and bytes.

    // New containers, mutable ones.
    Pointer asAVector() const;
    Pointer transpose() const;
    Pointer flipI(bool flipI, bool flipJ) const; // Reverses the rows, the columns, or both, of a matrix.
    Pointer extractColumns(long n) const; // The first n columns of a matrix; null if it has fewer.
    // The elements at the positions from..to-1 as a vector; null for a range beyond the array.
    Pointer numbersFrom(long from, long to) const;
    // The elements at the given positions, as a vector; with `until` only for so many of the positions. A
    // position beyond the array is reported and gives 0.
    Pointer valuesAtIndexes(const std::shared_ptr<const KRIntArrayContainer>& indexes) const;
    Pointer valuesAtIndexes(const std::shared_ptr<const KRIntArrayContainer>& indexes, long until) const;

    // In place, also for a read-only container, whose array is replaced. Cropping makes a vector.
    void cropLengthTo(long length);
    void increaseLengthBy(long length);
    void sortInPlace() requires KROrderedElement<T>;
    // All elements of `array` to the positions from..to-1; false, with a report, if that doesn't fit.
    bool copyFromArray(const ConstPointer& array, long intoRangeFrom, long to);

    // Of an empty array 0. NaNs are passed over unless the first entry is one.
    T minValue() const requires KROrderedElement<T>;
    T maxValue() const requires KROrderedElement<T>;
    std::pair<T, T> calculateMinAndMax() const requires KROrderedElement<T>;
    bool containsNonFiniteNumbers() const;

    std::uint64_t checksum() const; // Equal for equal dimensions and bytes, on each run of the program.
    std::string description() const;

    // All elements as numbers of a property list.
    platform::Value NSArrayFormat() const requires KROrderedElement<T>;
    // The plain dictionary: "Data", "m", "n", "o", "KRType", "Endian". A dictionary from outside is tested
    // before it is used; a bad one is reported and gives null. The result is read-only.
    platform::Value convertToRawFormat() const;
    static Pointer convertFromRawFormat(const platform::Value& dictionary);
    // The archive: a dictionary with "Class", the dimensions and the elements under the member's key. The
    // complex member has none: null. What comes back is tested as above.
    platform::Value encodeWithCoder() const;
    static Pointer initWithCoder(const platform::Value& archive);

    // The names with the element's type.
    std::shared_ptr<KRFloatArrayContainer> convertToFloat() const requires std::same_as<T, double>;

#define KR_NAMED_ACCESSORS(Type, name, Name)                                                                 \
    KRArray<T> name##Array() const requires std::same_as<T, Type>                                            \
    {                                                                                                        \
        return array();                                                                                      \
    }                                                                                                        \
    KRMutableArray<T> mutable##Name##Array() requires std::same_as<T, Type>                                  \
    {                                                                                                        \
        return mutableArray();                                                                               \
    }                                                                                                        \
    const KRArray<T>* name##ArrayPointer() const requires std::same_as<T, Type>                              \
    {                                                                                                        \
        return arrayPointer();                                                                               \
    }                                                                                                        \
    KRMutableArray<T>* mutable##Name##ArrayPointer() requires std::same_as<T, Type>                          \
    {                                                                                                        \
        return mutableArrayPointer();                                                                        \
    }                                                                                                        \
    const T* const##Name##Pointer() const requires std::same_as<T, Type>                                     \
    {                                                                                                        \
        return constPointer();                                                                               \
    }                                                                                                        \
    T* mutable##Name##Pointer() requires std::same_as<T, Type>                                               \
    {                                                                                                        \
        return mutablePointer();                                                                             \
    }                                                                                                        \
    bool isEqualTo##Name##Array(const ConstPointer& other) const requires std::same_as<T, Type>              \
    {                                                                                                        \
        return isEqualToArray(other);                                                                        \
    }
    KR_NAMED_ACCESSORS(double, double, Double)
    KR_NAMED_ACCESSORS(float, float, Float)
    KR_NAMED_ACCESSORS(std::int32_t, int, Int)
    KR_NAMED_ACCESSORS(std::int16_t, short, Short)
    KR_NAMED_ACCESSORS(std::uint16_t, ushort, UShort)
    KR_NAMED_ACCESSORS(signed char, character, Character)
    KR_NAMED_ACCESSORS(unsigned char, uchar, UChar)
    KR_NAMED_ACCESSORS(KRComplexNumber, complex, Complex)
#undef KR_NAMED_ACCESSORS

    // Diagnosis of leaks, for each member on its own. While recording, each new container is listed until its
    // end; currentArrays() prints the list on the standard error stream. Not for use beside other threads.
    static void recordAllArrays();
    static void stopRecordingArrays();
    static void currentArrays();
    static void flushArrayList();

private:
    struct Private { };

public:
    // For the factories alone.
    KRArrayContainer(
        Private, std::unique_ptr<KRArray<T>> readOnly, std::unique_ptr<KRMutableArray<T>> writable);

private:
    static Pointer holding(KRMutableArray<T> array);
    static Pointer holdingConst(KRArray<T> array);
    static std::vector<const KRArrayContainer*>& recordedArrays();
    static bool& isRecording();

    // Replaces the array by one that holds the same elements in another number.
    void replaceBy(KRMutableArray<T> array);
    void takeFacts(); // Of the array: dimensions and pointers.
    const KRArray<T>* held() const;
    static bool isInside(long index, long size)
    {
        return index >= 0 && index < size;
    }
    [[gnu::cold]] void reportSetting() const; // Why an element can't be set.
    platform::Value::Dictionary plainForm(const char* dataKey) const;

    std::unique_ptr<KRMutableArray<T>> mutableVersion_; // Null for a read-only one.
    std::unique_ptr<KRArray<T>> constVersion_; // Null for a mutable one.
    long lengthV_ = 0;
    long mV_ = 0;
    long nV_ = 0;
    long oV_ = 0;
    const T* constPointer_ = nullptr;
    T* mutablePointer_ = nullptr; // Null for a read-only one.
    bool isRecorded_ = false;
};
