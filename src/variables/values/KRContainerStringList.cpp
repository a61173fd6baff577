#include "variables/values/KRContainerStringList.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/files/FileManager.h"
#include "text/fortran/KRUnformattedFortranStream.h"
#include "variables/structures/EntryNames.h"
#include "variables/structures/StoredWords.h"
#include "variables/values/KRPlainValue.h"
#include "variables/values/StoredNumbers.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

namespace {

namespace names = variables::names;

constexpr const char* kStoredAs = "UTF8";
constexpr std::uint64_t kLargestFile = 10'000'000;
constexpr std::size_t kLongestShownText = 60; // Bytes of strings in a description.

std::string countText(std::int64_t count)
{
    return count == 1 ? "1 string" : fmt::format("{} strings", count);
}

// The strings that begin at the offsets of a block; null when an offset can't be right.
std::shared_ptr<KRUTF8StringList> listFrom(
    const KRCharacterArrayContainer& block, const KRIntArrayContainer& starts)
{
    auto list = KRUTF8StringList::createWithCapacity(block.length());
    const auto* const text = reinterpret_cast<const char*>(block.constPointer());
    for (long i = 0; list && i < starts.length(); ++i) {
        const long start = starts.constPointer()[i];
        const long before = i == 0 ? -1 : starts.constPointer()[i - 1];
        if (start <= before || start >= block.length())
            return nullptr;
        const long next = i + 1 < starts.length() ? starts.constPointer()[i + 1] : block.length();
        const long end = std::clamp<long>(next, start, block.length());
        list->append({text + start, strnlen(text + start, static_cast<std::size_t>(end - start))});
    }
    return list;
}

KRContainer::Value readStringList(KRDataStorage& storage, const std::string& name)
{
    const auto end = storage.resolveNameAllowingRedirection(name);
    if (!end || !storage.contains(end))
        return nullptr;
    std::shared_ptr<KRUTF8StringList> list;
    if (const auto size = storage.getSizeOfVariable(*end); size && size->m == 0)
        list = std::make_shared<KRUTF8StringList>(); // An empty value, of whatever type.
    else if (variables::wordUnder(storage, names::listKind(*end)) == kStoredAs) {
        const auto block = storage.readCharacterArray(*end);
        const auto starts = storage.readIntArray(names::listStarts(*end));
        list = block && starts ? listFrom(*block, *starts) : nullptr;
    }
    if (!list) {
        KRMessageCenter::addMessage("Invalid format for a list of strings",
            fmt::format("Invalid format for a list of strings with name \"{}\"", name));
        return nullptr;
    }
    return variables::withParameters(KRContainerStringList::createWithList(list), storage, *end);
}

// A record of the count, and one for each string.
KRContainer::Value readTextRecords(KRUnformattedFortranStream& stream)
{
    auto list = std::make_shared<KRUTF8StringList>();
    const auto count = stream.readNumber();
    for (std::int64_t i = 0; count && static_cast<double>(i) < *count; ++i) {
        const auto text = stream.readString();
        if (!text)
            return nullptr;
        list->append(*text);
    }
    return count ? KRContainerStringList::createWithList(std::move(list)) : nullptr;
}

} // namespace

const ReadingOperation KRContainerStringList::kReading{.type = "StringList",
    .read = readStringList,
    .descriptionFor = descriptionFor,
    .createEmpty = [] { return ReadingOperation::Value(createEmpty()); },
    .createFromUnformattedFortranStream = readTextRecords};

KRContainerStringList::Pointer KRContainerStringList::createWithStrings(
    const std::vector<std::string>& strings)
{
    auto list = std::make_shared<KRUTF8StringList>();
    for (const std::string& text : strings)
        list->append(text);
    const bool fits = list->count() == static_cast<std::int64_t>(strings.size());
    return fits ? createWithList(std::move(list)) : nullptr;
}

KRContainerStringList::Pointer KRContainerStringList::createWithList(std::shared_ptr<KRUTF8StringList> list)
{
    return list ? std::make_shared<KRContainerStringList>(Private(), std::move(list)) : nullptr;
}

KRContainerStringList::Pointer KRContainerStringList::createEmpty()
{
    return createWithList(std::make_shared<KRUTF8StringList>());
}

KRContainerStringList::Pointer KRContainerStringList::createFromFile(const std::string& path)
{
    if (platform::files::size(path).value_or(0) > kLargestFile) {
        KRMessageCenter::addMessage(
            "File too large", fmt::format("The file \"{}\" is too large (>10MB).", path));
        return nullptr;
    }
    const auto text = platform::files::readFile(path);
    if (!text)
        return nullptr;
    auto list = std::make_shared<KRUTF8StringList>();
    for (std::size_t start = 0; start <= text->size();) {
        const std::size_t end = std::min(text->find('\n', start), text->size());
        list->append(std::string_view(*text).substr(start, end - start));
        start = end + 1;
    }
    return createWithList(std::move(list));
}

std::string KRContainerStringList::descriptionFor(const std::string& name, KRDataStorage& inFile)
{
    const auto end = inFile.resolveNameAllowingRedirection(name);
    const auto size = end ? inFile.getSizeOfVariable(names::listStarts(*end)) : std::nullopt;
    const std::int64_t count = size ? static_cast<std::int64_t>(size->m) * size->n : 0;
    return count == 0 ? "Empty" : countText(count);
}

std::string KRContainerStringList::stringAtIndex(std::int64_t index) const
{
    const auto text = list_->stringAtIndex(index);
    return text ? std::string(text->view()) : std::string();
}

std::vector<std::string> KRContainerStringList::strings() const
{
    std::vector<std::string> all;
    all.reserve(static_cast<std::size_t>(count()));
    for (std::int64_t i = 0; i < count(); ++i)
        all.emplace_back(list_->viewAtIndex(i));
    return all;
}

std::string KRContainerStringList::description() const
{
    if (isEmpty())
        return "No strings";
    const std::string counted = countText(count());
    std::string joined(list_->viewAtIndex(0));
    for (std::int64_t i = 1; i < count() && joined.size() <= kLongestShownText; ++i)
        joined.append(",").append(list_->viewAtIndex(i));
    if (joined.size() > kLongestShownText)
        return counted;
    return count() == 1 ? fmt::format("{} - \"{}\"", counted, joined)
                        : fmt::format("{} - {}", counted, joined);
}

std::uint64_t KRContainerStringList::memoryUsed() const
{
    return static_cast<std::uint64_t>(list_->positionInPointer())
        + static_cast<std::uint64_t>(count()) * sizeof(std::int32_t);
}

bool KRContainerStringList::isEqualTo(const KRSharedValue& other) const
{
    const auto* list = dynamic_cast<const KRContainerStringList*>(&other);
    if (!list || list->count() != count() || list->list_->positionInPointer() != list_->positionInPointer())
        return false;
    const auto bytes = static_cast<std::size_t>(list_->positionInPointer());
    return bytes == 0 || std::memcmp(list_->pointer(), list->list_->pointer(), bytes) == 0;
}

KRContainer::Value KRContainerStringList::returnParameter(const std::optional<std::string>& name) const
{
    if (name == "Length")
        return KRRealNumber::create(static_cast<double>(count()));
    return KRContainer::returnParameter(name);
}

bool KRContainerStringList::saveIntoFile(KRDataStorage& file, const std::string& withName) const
{
    const long bytes = static_cast<long>(list_->positionInPointer());
    const auto block = KRCharacterArrayContainer::createArrayOfLength(bytes);
    const auto starts = KRIntArrayContainer::createArrayOfLength(static_cast<long>(count()));
    if (!block || !starts)
        return false;
    if (bytes > 0) {
        std::memcpy(block->mutablePointer(), list_->pointer(), static_cast<std::size_t>(bytes));
        std::copy_n(list_->startPointer(), count(), starts->mutablePointer());
    }
    // The block last: a reader of a growing file looks for it first.
    return KRContainer::saveIntoFile(file, withName) && file.writeString(kStoredAs, names::listKind(withName))
        && file.writeIntArray(starts, names::listStarts(withName))
        && file.writeCharacterArray(block, withName);
}
