#include "variables/structures/StoredWords.h"

#include "variables/structures/EntryNames.h"

namespace variables {

namespace {

// A code may have a time step behind it; the shortest type name is longer.
constexpr std::uint64_t kMostNumbersOfCode = 2;

bool isNumeric(KRDataStorage& storage, const std::string& name)
{
    return storage.isADoubleArray(name) || storage.isAFloatArray(name) || storage.isAnIntArray(name);
}

bool isOfCodeSize(KRDataStorage& storage, const std::string& name)
{
    const auto size = storage.getSizeOfVariable(name);
    return size && std::uint64_t{size->m} * size->n <= kMostNumbersOfCode && size->o <= 1;
}

} // namespace

std::optional<std::string> wordUnder(KRDataStorage& storage, const std::string& name)
{
    if (storage.isAString(name))
        return storage.readRawString(name);
    if (!storage.contains(name) || isNumeric(storage, name))
        return std::nullopt;
    return storage.readRawString(name);
}

Announcement readAnnouncement(KRDataStorage& storage, const std::string& name)
{
    const std::string entry = names::announcement(name);
    Announcement result;
    if (storage.isAString(entry) || !(isNumeric(storage, entry) || isOfCodeSize(storage, entry))) {
        result.word = wordUnder(storage, entry).value_or("");
        return result;
    }
    const auto numbers = storage.readDoubleArray(entry);
    if (!numbers || numbers->length() == 0)
        return result;
    result.code = numbers->valueAtIndex(0);
    if (numbers->length() > 1)
        result.timeStep = numbers->valueAtIndex(1);
    return result;
}

} // namespace variables
