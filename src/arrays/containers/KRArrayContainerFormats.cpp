// The forms in which a container leaves the program and comes back: the plain dictionary, the archive, and
// the description for a person.

#include "arrays/containers/KRArrayContainer.h"
#include "arrays/containers/KRArrayContainerInternal.h"
#include "arrays/kernels/SVByteGroups.h"
#include "diagnostics/KRMessageCenter.h"
#include "platform/Result.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <fmt/format.h>

using namespace krcontainers;
using platform::Value;

namespace {

static_assert(
    std::endian::native == std::endian::little, "Plain dictionaries tell the byte order as Little.");

constexpr const char* kDimensions[] = {"m", "n", "o"};

// The size in bytes must be that of the data: what comes from outside may tell anything.
bool fits(const std::int64_t (&dimensions)[3], std::size_t elementSize, std::size_t dataSize)
{
    std::uint64_t bytes = elementSize;
    for (const std::int64_t dimension : dimensions)
        if (__builtin_mul_overflow(bytes, static_cast<std::uint64_t>(dimension), &bytes))
            return false;
    return bytes == dataSize;
}

// The array of a dictionary from outside.
template <class T>
platform::Result<KRMutableArray<T>> arrayFrom(const Value& dictionary, const char* dataKey)
{
    const auto failed = [](const char* reason) {
        return platform::Error{std::string("Failed at converting an array (") + reason + ")."};
    };
    const Value* const found = dictionary.find(dataKey);
    const Value::Data* const data = found ? found->data() : nullptr;
    if (!data)
        return failed("no data");
    std::int64_t dimensions[3] = {};
    for (int i = 0; i < 3; ++i) {
        const Value* const dimension = dictionary.find(kDimensions[i]);
        const auto number = dimension ? dimension->integer() : std::nullopt;
        if (!number)
            return failed("no size");
        dimensions[i] = *number;
    }
    if (std::ranges::any_of(dimensions, [](std::int64_t dimension) { return dimension < 0; }))
        return failed("negative sizes");
    if (!fits(dimensions, sizeof(T), data->size()))
        return failed("sizes did not match");

    KRMutableArray<T> array(dimensions[0], dimensions[1], dimensions[2]);
    const auto size = static_cast<std::size_t>(array.Length()) * sizeof(T);
    if (size < data->size())
        return platform::Error{failedAllocationText<T>(dimensions[0], dimensions[1], dimensions[2])};
    if (size > 0)
        std::memcpy(static_cast<void*>(array.Pointer()), data->data(), size);
    if constexpr (KRContainerMemberOf<T>.tellsEndian)
        if (dictionary.textFor("Endian") == "Big")
            svinternal::swapGroups<sizeof(T)>(array.Pointer(), static_cast<long>(size));
    return array;
}

template <class T>
auto containerFrom(const Value& dictionary, const char* dataKey) -> typename KRArrayContainer<T>::Pointer
{
    const auto array = arrayFrom<T>(dictionary, dataKey);
    if (array)
        return KRArrayContainer<T>::createArrayWithConstObject(*array);
    reportUnlessEmpty(array.error().text);
    return nullptr;
}

template <class T>
Value::Data bytesOf(const T* elements, long count)
{
    Value::Data bytes(static_cast<std::size_t>(count) * sizeof(T));
    if (!bytes.empty())
        std::memcpy(bytes.data(), elements, bytes.size());
    return bytes;
}

// How many entries aren't finite, and the first of all, as " 2 NaN's 1, 2, 3.".
std::string describedEntries(const double* entries, long count)
{
    constexpr long kShown = 10;
    const auto nans = std::count_if(entries, entries + count, [](double x) { return std::isnan(x); });
    const auto infs = std::count_if(entries, entries + count, [](double x) { return std::isinf(x); });
    std::string text;
    if (nans > 0)
        text += fmt::format(" {} NaN's", nans);
    if (infs > 0)
        text += fmt::format(" {} Inf's", infs);
    for (long i = 0; i < std::min(count, kShown); ++i)
        text += fmt::format("{} {:g}", i > 0 ? "," : "", entries[i]);
    if (count > 0)
        text += count > kShown ? "..." : ".";
    return text;
}

} // namespace

template <class T>
Value::Dictionary KRArrayContainer<T>::plainForm(const char* dataKey) const
{
    return {{dataKey, bytesOf(constPointer_, lengthV_)}, {"m", mV_}, {"n", nV_}, {"o", oV_}};
}

template <class T>
Value KRArrayContainer<T>::convertToRawFormat() const
{
    const KRContainerMember& member = KRContainerMemberOf<T>;
    if (!held()) {
        KRMessageCenter::addMessage(
            fmt::format("When converting a {} array to a dictionary, data==nil.", member.word));
        return {};
    }
    Value::Dictionary plain = plainForm("Data");
    if (member.rawType)
        plain["KRType"] = member.rawType;
    if (member.tellsEndian)
        plain["Endian"] = "Little";
    return plain;
}

template <class T>
auto KRArrayContainer<T>::convertFromRawFormat(const Value& dictionary) -> Pointer
{
    return containerFrom<T>(dictionary, "Data");
}

template <class T>
Value KRArrayContainer<T>::encodeWithCoder() const
{
    const char* const key = KRContainerMemberOf<T>.archiveKey;
    if (!key || !held())
        return {};
    Value::Dictionary archive = plainForm(key);
    archive["Class"] = containerName<T>();
    return archive;
}

template <class T>
auto KRArrayContainer<T>::initWithCoder(const Value& archive) -> Pointer
{
    const char* const key = KRContainerMemberOf<T>.archiveKey;
    if (!key)
        return nullptr;
    if (archive.textFor("Class") != containerName<T>()) {
        KRMessageCenter::addMessage("Failed at converting an array (another class).");
        return nullptr;
    }
    return containerFrom<T>(archive, key);
}

template <class T>
Value KRArrayContainer<T>::NSArrayFormat() const requires KROrderedElement<T>
{
    using Number = std::conditional_t<KRRealElement<T>, double, std::int64_t>;
    Value::Array numbers;
    numbers.reserve(static_cast<std::size_t>(lengthV_));
    for (long i = 0; i < lengthV_; ++i)
        numbers.emplace_back(static_cast<Number>(constPointer_[i]));
    return numbers;
}

template <class T>
std::string KRArrayContainer<T>::description() const
{
    const KRContainerMember& member = KRContainerMemberOf<T>;
    if (!held())
        return fmt::format("nil {} array", member.word);
    const std::string begin = isMutable() ? member.mutableWords : fmt::format("Const {} array", member.word);
    if constexpr (std::is_same_v<T, double>)
        return fmt::format("{} ({} x {} x {}).", begin, mV_, nV_, oV_)
            + describedEntries(constPointer_, lengthV_);
    return fmt::format("{} with dimensions {} x {} x {}.", begin, mV_, nV_, oV_);
}

#define KR_INSTANTIATE(T)                                                                                    \
    template Value::Dictionary KRArrayContainer<T>::plainForm(const char*) const;                            \
    template Value KRArrayContainer<T>::convertToRawFormat() const;                                          \
    template KRArrayContainer<T>::Pointer KRArrayContainer<T>::convertFromRawFormat(const Value&);           \
    template Value KRArrayContainer<T>::encodeWithCoder() const;                                             \
    template KRArrayContainer<T>::Pointer KRArrayContainer<T>::initWithCoder(const Value&);                  \
    template std::string KRArrayContainer<T>::description() const;
KR_FOR_ALL_CONTAINERS(KR_INSTANTIATE)
#undef KR_INSTANTIATE

#define KR_INSTANTIATE(T) template Value KRArrayContainer<T>::NSArrayFormat() const;
KR_INSTANTIATE(double)
KR_INSTANTIATE(float)
KR_INSTANTIATE(std::int32_t)
KR_INSTANTIATE(std::int16_t)
KR_INSTANTIATE(std::uint16_t)
KR_INSTANTIATE(signed char)
KR_INSTANTIATE(unsigned char)
#undef KR_INSTANTIATE
