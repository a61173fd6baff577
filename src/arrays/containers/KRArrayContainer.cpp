#include "arrays/containers/KRArrayContainer.h"

#include "arrays/containers/KRArrayContainerInternal.h"
#include "arrays/kernels/SVElementCopy.h"
#include "arrays/kernels/SVFolds.h"
#include "arrays/legacy/KRArrayOperations.h"
#include "arrays/legacy/KRArrayReports.h"
#include "diagnostics/KRMessageCenter.h"

#include <algorithm>
#include <complex>
#include <cstring>
#include <fmt/format.h>
#include <iostream>

using namespace krcontainers;

namespace {

// The hash of eight bytes more.
std::uint64_t mixed(std::uint64_t hash, std::uint64_t word)
{
    hash = (hash ^ word) * 0x9e3779b97f4a7c15U;
    return hash ^ (hash >> 29);
}

// Some compilers translate members whose constraints don't hold, as those of the complex container: the
// functions that follow, and the tests of the type in such members, have something for them.
template <class T>
T smallestOf(const T* entries, long count)
{
    if constexpr (KROrderedElement<T>)
        return svinternal::smallest(entries, count);
    else
        return T();
}

template <class T>
T largestOf(const T* entries, long count)
{
    if constexpr (KROrderedElement<T>)
        return svinternal::largest(entries, count);
    else
        return T();
}

} // namespace

template <class T>
KRArrayContainer<T>::KRArrayContainer()
{
    KRMessageCenter::addMessage("should not use [" + containerName<T>() + " new].");
}

template <class T>
KRArrayContainer<T>::KRArrayContainer(
    Private, std::unique_ptr<KRArray<T>> readOnly, std::unique_ptr<KRMutableArray<T>> writable)
    : mutableVersion_(std::move(writable)), constVersion_(std::move(readOnly))
{
    takeFacts();
    if (isRecording()) {
        isRecorded_ = true;
        recordedArrays().push_back(this);
    }
}

template <class T>
KRArrayContainer<T>::~KRArrayContainer()
{
    if (isRecorded_)
        std::erase(recordedArrays(), this);
    if (!held())
        KRMessageCenter::addMessage("No array stored in " + containerName<T>() + ", check if deleted twice.");
}

template <class T>
auto KRArrayContainer<T>::createArrayOfLength(long length) -> Pointer
{
    return createArrayOfSizeM(length, 1, 1);
}

template <class T>
auto KRArrayContainer<T>::createArrayOfSizeM(long m, long n, long o) -> Pointer
{
    KRMutableArray<T> array(m, n, o);
    if (array.IsEmpty() && m > 0 && n > 0 && o > 0) {
        reportFailedAllocation<T>(m, n, o);
        return nullptr;
    }
    return holding(array);
}

template <class T>
auto KRArrayContainer<T>::createArrayWithConstObject(const KRArray<T>& array) -> Pointer
{
    return holdingConst(array);
}

template <class T>
auto KRArrayContainer<T>::createArrayWithMutableObject(const KRMutableArray<T>& array) -> Pointer
{
    return holding(array);
}

template <class T>
auto KRArrayContainer<T>::createArrayByOvertakingPointer(std::unique_ptr<KRArray<T>> array) -> Pointer
{
    if (array)
        return std::make_shared<KRArrayContainer>(Private(), std::move(array), nullptr);
    KRMessageCenter::addMessage(containerName<T>() + ": Creating an array with a NULL pointer.");
    return nullptr;
}

template <class T>
auto KRArrayContainer<T>::createArrayByOvertakingMutablePointer(std::unique_ptr<KRMutableArray<T>> array)
    -> Pointer
{
    if (array)
        return std::make_shared<KRArrayContainer>(Private(), nullptr, std::move(array));
    KRMessageCenter::addMessage(containerName<T>() + ": Creating an array with a NULL pointer.");
    return nullptr;
}

template <class T>
auto KRArrayContainer<T>::holding(KRMutableArray<T> array) -> Pointer
{
    return createArrayByOvertakingMutablePointer(std::make_unique<KRMutableArray<T>>(array));
}

template <class T>
auto KRArrayContainer<T>::holdingConst(KRArray<T> array) -> Pointer
{
    return createArrayByOvertakingPointer(std::make_unique<KRArray<T>>(array));
}

template <class T>
void KRArrayContainer<T>::takeFacts()
{
    const KRArray<T>* const array = held();
    mV_ = array->m();
    nV_ = array->n();
    oV_ = array->o();
    lengthV_ = array->Length();
    constPointer_ = array->Pointer();
    mutablePointer_ = mutableVersion_ ? mutableVersion_->Pointer() : nullptr;
}

template <class T>
const KRArray<T>* KRArrayContainer<T>::held() const
{
    return mutableVersion_ ? mutableVersion_.get() : constVersion_.get();
}

template <class T>
void KRArrayContainer<T>::replaceBy(KRMutableArray<T> array)
{
    if (mutableVersion_)
        *mutableVersion_ = array;
    else
        constVersion_ = std::make_unique<KRArray<T>>(array);
    takeFacts();
}

template <class T>
KRArray<T> KRArrayContainer<T>::array() const
{
    return held() ? *held() : KRArray<T>();
}

template <class T>
KRMutableArray<T> KRArrayContainer<T>::mutableArray()
{
    if (mutableVersion_)
        return *mutableVersion_;
    KRMessageCenter::addMessage("Internal error: " + containerName<T>() + "->mutable" + containedName<T>()
        + " called for const array.");
    return KRMutableArray<T>();
}

template <class T>
const KRArray<T>* KRArrayContainer<T>::arrayPointer() const
{
    return held();
}

template <class T>
KRMutableArray<T>* KRArrayContainer<T>::mutableArrayPointer()
{
    if (!mutableVersion_)
        KRMessageCenter::addMessage(kNoMutablePointer);
    return mutableVersion_.get();
}

template <class T>
T* KRArrayContainer<T>::mutablePointer()
{
    if (!mutableVersion_)
        KRMessageCenter::addMessage(kNoMutablePointer);
    return mutablePointer_;
}

template <class T>
void KRArrayContainer<T>::reportSetting() const
{
    KRMessageCenter::addMessage(containedName<T>()
        + (isMutable() ? "-setValue: Out of bounds." : "-setValue: Called for a const array."));
}

template <class T>
void KRArrayContainer<T>::setAllValues(T value)
{
    if (mutableVersion_)
        *mutableVersion_ = value;
    else
        KRMessageCenter::addMessage(containedName<T>() + "-setAllValues: Called for a const array.");
}

template <class T>
long KRArrayContainer<T>::findValue(T value) const
{
    const T* const last = constPointer_ + lengthV_;
    const T* const found = std::find(constPointer_, last, value);
    return found == last ? -1 : found - constPointer_;
}

template <class T>
auto KRArrayContainer<T>::mutableCopy() const -> Pointer
{
    const Pointer copied = createArrayOfSizeM(mV_, nV_, oV_);
    if (copied)
        svinternal::copyElements(constPointer_, lengthV_, copied->mutablePointer_);
    return copied;
}

template <class T>
auto KRArrayContainer<T>::copy() const -> Pointer
{
    if (!isMutable())
        return holdingConst(array());
    const Pointer copied = mutableCopy();
    return copied ? holdingConst(copied->array()) : nullptr;
}

template <class T>
bool KRArrayContainer<T>::isEqualToArray(const ConstPointer& other) const
{
    return other && array() == other->array();
}

template <class T>
auto KRArrayContainer<T>::asAVector() const -> Pointer
{
    const Pointer vector = mutableCopy();
    if (vector) {
        vector->mutableVersion_->ReshapeAsVector();
        vector->takeFacts();
    }
    return vector;
}

template <class T>
auto KRArrayContainer<T>::transpose() const -> Pointer
{
    const auto transposed = Transpose(array());
    if (transposed.Length() == lengthV_)
        return holding(transposed);
    const bool isMatrix = oV_ == 1;
    reportFailedAllocation<T>(isMatrix ? nV_ : oV_, isMatrix ? mV_ : nV_, isMatrix ? oV_ : mV_);
    return nullptr;
}

template <class T>
auto KRArrayContainer<T>::flipI(bool flipI, bool flipJ) const -> Pointer
{
    if (oV_ > 1) {
        KRMessageCenter::addMessage("Only works for 2D arrays.");
        return nullptr;
    }
    const Pointer flipped = mutableCopy();
    if (!flipped)
        return nullptr;
    for (long j = 0; j < nV_; ++j) {
        const T* const from = constPointer_ + j * mV_;
        T* const to = flipped->mutablePointer_ + (flipJ ? nV_ - 1 - j : j) * mV_;
        if (flipI)
            std::reverse_copy(from, from + mV_, to);
        else
            std::copy_n(from, mV_, to);
    }
    return flipped;
}

template <class T>
auto KRArrayContainer<T>::extractColumns(long n) const -> Pointer
{
    const auto columns = ExtractColumns(array(), n); // Empty after a failure, which it has reported.
    if (columns.NotEmpty() || n == 0)
        return holding(columns);
    if (n > 0 && n <= nV_ && oV_ == 1)
        reportFailedAllocation<T>(mV_, n, 1);
    return nullptr;
}

template <class T>
auto KRArrayContainer<T>::numbersFrom(long from, long to) const -> Pointer
{
    if (from < 0 || to < from || to > lengthV_) {
        KRPutOutOfRangeError1D(from < 0 || from > lengthV_ ? from : to, lengthV_);
        return nullptr;
    }
    const Pointer numbers = createArrayOfLength(to - from);
    if (numbers)
        svinternal::copyElements(constPointer_ + from, to - from, numbers->mutablePointer_);
    return numbers;
}

template <class T>
auto KRArrayContainer<T>::valuesAtIndexes(const std::shared_ptr<const KRIntArrayContainer>& indexes) const
    -> Pointer
{
    return valuesAtIndexes(indexes, indexes ? indexes->length() : 0);
}

template <class T>
auto KRArrayContainer<T>::valuesAtIndexes(
    const std::shared_ptr<const KRIntArrayContainer>& indexes, long until) const -> Pointer
{
    if (!indexes)
        return nullptr;
    const Pointer values = createArrayOfLength(std::clamp(until, 0L, indexes->length()));
    for (long i = 0; values && i < values->lengthV_; ++i)
        values->mutablePointer_[i] = valueAtIndex(indexes->constPointer()[i]);
    return values;
}

template <class T>
void KRArrayContainer<T>::cropLengthTo(long length)
{
    if (length < 0 || length > lengthV_)
        KRMessageCenter::addMessage("Illegal new length for array.");
    else if (const auto cropped = CropLength(array(), length); cropped.Length() == length)
        replaceBy(cropped);
}

template <class T>
void KRArrayContainer<T>::increaseLengthBy(long length)
{
    // A failure has been reported, and has given an empty array.
    if (const auto larger = IncreaseSize(array(), length); larger.Length() > lengthV_)
        replaceBy(larger);
}

template <class T>
void KRArrayContainer<T>::sortInPlace() requires KROrderedElement<T>
{
    if (!mutableVersion_)
        KRMessageCenter::addMessage(containerName<T>() + " - sortInPlace: Requires a mutable array.");
    else if constexpr (KROrderedElement<T>)
        mutableVersion_->SortEntries();
}

template <class T>
bool KRArrayContainer<T>::copyFromArray(const ConstPointer& array, long intoRangeFrom, long to)
{
    const auto fails = [](const char* reason) {
        KRMessageCenter::addMessage(std::string("copyFromArray:intoRangeFrom:to: ") + reason);
        return false;
    };
    if (!array)
        return fails("incorrect array type.");
    if (intoRangeFrom < 0 || to > lengthV_ || to < intoRangeFrom || array->lengthV_ != to - intoRangeFrom)
        return fails("incorrect length.");
    if (!mutableVersion_)
        return fails("requires a mutable array.");
    svinternal::copyElements(array->constPointer_, array->lengthV_, mutablePointer_ + intoRangeFrom);
    return true;
}

template <class T>
T KRArrayContainer<T>::minValue() const requires KROrderedElement<T>
{
    return smallestOf(constPointer_, lengthV_);
}

template <class T>
T KRArrayContainer<T>::maxValue() const requires KROrderedElement<T>
{
    return largestOf(constPointer_, lengthV_);
}

template <class T>
std::pair<T, T> KRArrayContainer<T>::calculateMinAndMax() const requires KROrderedElement<T>
{
    return {smallestOf(constPointer_, lengthV_), largestOf(constPointer_, lengthV_)};
}

template <class T>
bool KRArrayContainer<T>::containsNonFiniteNumbers() const
{
    if constexpr (KRRealElement<T>)
        return svinternal::containsNonFinite(constPointer_, lengthV_);
    else if constexpr (std::is_same_v<T, KRComplexNumber>) // Stored as pairs of doubles.
        return svinternal::containsNonFinite(reinterpret_cast<const double*>(constPointer_), 2 * lengthV_);
    else
        return false;
}

template <class T>
std::uint64_t KRArrayContainer<T>::checksum() const
{
    std::uint64_t hash = 0;
    for (const long dimension : {mV_, nV_, oV_})
        hash = mixed(hash, static_cast<std::uint64_t>(dimension));
    const auto* const bytes = reinterpret_cast<const unsigned char*>(constPointer_);
    for (long place = 0; place < memoryUsed(); place += 8) {
        std::uint64_t word = 0;
        std::memcpy(&word, bytes + place, static_cast<std::size_t>(std::min(8L, memoryUsed() - place)));
        hash = mixed(hash, word);
    }
    return hash;
}

template <class T>
std::shared_ptr<KRFloatArrayContainer> KRArrayContainer<T>::convertToFloat()
    const requires std::same_as<T, double>
{
    const auto floats = KRFloatArrayContainer::createArrayOfSizeM(mV_, nV_, oV_);
    if (floats)
        for (long i = 0; i < lengthV_; ++i)
            floats->mutablePointer()[i] = static_cast<float>(std::real(constPointer_[i]));
    return floats;
}

template <class T>
std::vector<const KRArrayContainer<T>*>& KRArrayContainer<T>::recordedArrays()
{
    static auto& recorded = *new std::vector<const KRArrayContainer*>;
    return recorded;
}

template <class T>
bool& KRArrayContainer<T>::isRecording()
{
    static bool recording = false;
    return recording;
}

template <class T>
void KRArrayContainer<T>::recordAllArrays()
{
    isRecording() = true;
}

template <class T>
void KRArrayContainer<T>::stopRecordingArrays()
{
    isRecording() = false;
}

template <class T>
void KRArrayContainer<T>::currentArrays()
{
    for (const KRArrayContainer* array : recordedArrays())
        std::cerr << fmt::format(
            "{} : {} x {} x {}\n", static_cast<const void*>(array), array->m(), array->n(), array->o());
}

template <class T>
void KRArrayContainer<T>::flushArrayList()
{
    recordedArrays().clear();
}

#define KR_INSTANTIATE(T) template class KRArrayContainer<T>;
KR_FOR_ALL_CONTAINERS(KR_INSTANTIATE)
#undef KR_INSTANTIATE
