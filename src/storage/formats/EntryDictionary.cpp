#include "storage/formats/EntryDictionary.h"

#include <climits>

namespace storage {
namespace {

constexpr int kStringFlag = 32;
constexpr int kSparseFlag = 64;
constexpr int kMostFlags = 127;

} // namespace

std::optional<std::int64_t> numberInRange(
    const platform::Value& dictionary, std::string_view key, std::int64_t most)
{
    const platform::Value* value = dictionary.find(key);
    const auto number = value ? value->integer() : std::nullopt;
    return number && *number >= 0 && *number <= most ? number : std::nullopt;
}

platform::Value entryDictionary(const KRDataFileEntry& entry, bool hasThirdDimension)
{
    platform::Value::Dictionary dictionary;
    dictionary["O"] = static_cast<std::int64_t>(entry.offsetInFile());
    dictionary["m"] = static_cast<std::int64_t>(entry.m());
    dictionary["n"] = static_cast<std::int64_t>(entry.n());
    if (hasThirdDimension)
        dictionary["o"] = static_cast<std::int64_t>(entry.o());
    dictionary["F"] =
        entry.type() + (entry.isAString() ? kStringFlag : 0) + (entry.isSparse() ? kSparseFlag : 0);
    if (platform::Value kept = entry.cachedEntry(); !kept.isNull())
        dictionary["V"] = std::move(kept);
    return dictionary;
}

std::optional<EntryParts> partsOfEntryDictionary(const platform::Value& dictionary, bool hasThirdDimension)
{
    const auto offset = numberInRange(dictionary, "O", LLONG_MAX);
    const auto m = numberInRange(dictionary, "m", INT_MAX);
    const auto n = numberInRange(dictionary, "n", INT_MAX);
    const auto o =
        hasThirdDimension ? numberInRange(dictionary, "o", INT_MAX) : std::optional<std::int64_t>(1);
    const auto flags = numberInRange(dictionary, "F", kMostFlags);
    if (!offset || !m || !n || !o || !flags)
        return {};
    EntryParts parts;
    parts.offset = static_cast<std::uint64_t>(*offset);
    parts.shape = {
        static_cast<std::uint32_t>(*m), static_cast<std::uint32_t>(*n), static_cast<std::uint32_t>(*o)};
    parts.type = static_cast<std::uint8_t>(*flags % kStringFlag);
    parts.isAString = (*flags & kStringFlag) != 0;
    parts.isSparse = (*flags & kSparseFlag) != 0;
    return parts;
}

void takeCachedNumber(const platform::Value& dictionary, KRDataFileEntry& entry)
{
    const platform::Value* value = dictionary.find("V");
    if (!value || entry.isAString() || !entry.isANumber() || !entry.element())
        return;
    if (const auto number = StorageNumber::fromValue(*value, *entry.element()))
        entry.setNumberValue(*number);
}

} // namespace storage
