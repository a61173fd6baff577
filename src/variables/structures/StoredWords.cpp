#include "variables/structures/StoredWords.h"

#include "variables/structures/EntryNames.h"

#include <algorithm>

namespace variables {

namespace {

// A code may have a time step behind it; the shortest type name is longer.
constexpr std::uint64_t kMostNumbersOfCode = 2;

// No type, name or parameter is longer; what a file claims beyond isn't read.
constexpr std::uint64_t kMostBytesOfWord = 65536;

bool canBeAWord(KRDataStorage& storage, const std::string& name)
{
    const auto size = storage.getSizeOfVariable(name);
    return !size || (std::uint64_t{size->m} * size->n <= kMostBytesOfWord && size->o <= 1);
}

// The text that an array of bytes once was. Arrays of integers are told from it by what they hold: a type or
// a name has no control characters.
std::optional<std::string> textInBytes(KRDataStorage& storage, const std::string& name)
{
    if (!storage.contains(name) || storage.isADoubleArray(name) || storage.isAFloatArray(name)
        || !canBeAWord(storage, name))
        return std::nullopt;
    auto text = storage.readRawString(name);
    const auto isControl = [](unsigned char c) { return c < ' '; };
    if (!text || text->empty() || std::any_of(text->begin(), text->end(), isControl))
        return std::nullopt;
    return text;
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
        return canBeAWord(storage, name) ? storage.readRawString(name) : std::nullopt;
    return textInBytes(storage, name);
}

Announcement readAnnouncement(KRDataStorage& storage, const std::string& name)
{
    const std::string entry = names::announcement(name);
    Announcement result;
    if (storage.isAString(entry))
        result.word = wordUnder(storage, entry).value_or("");
    else if (!isOfCodeSize(storage, entry))
        result.word = textInBytes(storage, entry);
    if (result.word)
        return result;
    if (const auto number = storage.readNumber(entry)) {
        result.code = number->doubleValue();
        return result;
    }
    const auto numbers = canBeAWord(storage, entry) ? storage.readDoubleArray(entry) : nullptr;
    if (!numbers || numbers->length() == 0)
        return result;
    result.code = numbers->valueAtIndex(0);
    if (numbers->length() > 1)
        result.timeStep = numbers->valueAtIndex(1);
    return result;
}

} // namespace variables
