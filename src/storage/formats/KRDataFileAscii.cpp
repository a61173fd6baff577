#include "storage/formats/KRDataFileAscii.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/plist/PropertyList.h"
#include "storage/bytes/AsciiNumbers.h"
#include "storage/bytes/AsciiText.h"
#include "storage/formats/EntryDictionary.h"
#include "storage/values/ElementConversion.h"

#include <fmt/format.h>

#include <algorithm>
#include <climits>

namespace {

using Entry = KRDataFileAsciiEntry;

// By an entry's type.
constexpr KREntryRow kAsciiRows[] = {
    {},
    {ElementType::Double, true, false, false, "real", "real"},
    {ElementType::Int, false, false, true, "int", "integer"},
    {},
};
constexpr KREntryFormat kAsciiEntries{kAsciiRows, std::size(kAsciiRows), true, "An unknown object"};

constexpr std::size_t kLongestText = 253; // Bytes. Readers take a longer line, with its end, for two.

platform::Status fitsLine(const char* what, const std::string& text)
{
    if (text.size() <= kLongestText)
        return {};
    return platform::Error{fmt::format("{} can have {} bytes at most in this format", what, kLongestText)};
}

platform::Status isAsciiName(const std::string& name)
{
    if (name.find_first_not_of(' ') == std::string::npos
        || name.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos)
        return platform::Error{"its name would end the file for a reader"};
    return fitsLine("a name", name);
}

} // namespace

// Entries.

KRDataFileEntry KRDataFileAsciiEntry::createStringEntryAt(std::uint64_t offset, std::string value)
{
    KRDataFileEntry entry(kAsciiEntries, offset, kString, true, false, {0, 0, 0});
    entry.setStringValue(std::move(value));
    return entry;
}

KRDataFileEntry KRDataFileAsciiEntry::createIntArrayEntryAt(
    std::uint64_t offset, std::uint32_t m, std::uint32_t n, std::uint32_t o)
{
    return {kAsciiEntries, offset, kInteger, false, false, {m, n, o}};
}

KRDataFileEntry KRDataFileAsciiEntry::createRealArrayEntryAt(
    std::uint64_t offset, std::uint32_t m, std::uint32_t n, std::uint32_t o)
{
    return {kAsciiEntries, offset, kReal, false, false, {m, n, o}};
}

platform::Value KRDataFileAsciiEntry::dictionaryForm(const KRDataFileEntry& entry)
{
    platform::Value::Dictionary dictionary;
    dictionary["O"] = static_cast<std::int64_t>(entry.offsetInFile());
    dictionary["m"] = static_cast<std::int64_t>(entry.m());
    dictionary["n"] = static_cast<std::int64_t>(entry.n());
    if (entry.o() > 1)
        dictionary["o"] = static_cast<std::int64_t>(entry.o());
    dictionary["F"] = static_cast<std::int64_t>(entry.type());
    if (platform::Value kept = entry.cachedEntry(); !kept.isNull())
        dictionary["V"] = std::move(kept);
    return dictionary;
}

std::optional<KRDataFileEntry> KRDataFileAsciiEntry::createFromDictionary(const platform::Value& dictionary)
{
    const auto offset = storage::numberInRange(dictionary, "O", LLONG_MAX);
    const auto m = storage::numberInRange(dictionary, "m", INT_MAX);
    const auto n = storage::numberInRange(dictionary, "n", INT_MAX);
    const auto type = storage::numberInRange(dictionary, "F", kString);
    if (!offset || !m || !n || !type || *type == 0)
        return {};
    const auto place = static_cast<std::uint64_t>(*offset);
    if (*type == kString)
        return createStringEntryAt(place, dictionary.textFor("V").value_or(""));
    const bool hasLayer = dictionary.find("o") || *n != 0;
    const auto make = *type == 1 ? createIntArrayEntryAt : createRealArrayEntryAt;
    KRDataFileEntry entry =
        make(place, static_cast<std::uint32_t>(*m), static_cast<std::uint32_t>(*n), hasLayer ? 1 : 0);
    // A number is as it was read, whatever the entry's type says of arrays.
    const platform::Value* value = dictionary.find("V");
    const auto number = value
        ? StorageNumber::fromValue(*value, value->isReal() ? ElementType::Double : ElementType::Int)
        : std::nullopt;
    if (number && entry.isANumber())
        entry.setNumberValue(*number);
    return entry;
}

// Making objects.

std::shared_ptr<KRDataFileAscii> KRDataFileAscii::createWithName(const std::string& name)
{
    auto file = createWithName(name, true);
    return file && file->openAtOnce(DataFileStream::Access::ReadWrite) ? file : nullptr;
}

std::shared_ptr<KRDataFileAscii> KRDataFileAscii::createWithName(const std::string& name, bool forWriting)
{
    auto file = std::make_shared<KRDataFileAscii>(Private{});
    return file->initWithName(name, forWriting) ? file : nullptr;
}

std::shared_ptr<KRDataFileAscii> KRDataFileAscii::createWithStructure(const platform::Value& structure)
{
    auto file = std::make_shared<KRDataFileAscii>(Private{});
    file->initWithStructure(structure);
    return file;
}

std::shared_ptr<KRDataFile> KRDataFileAscii::copyOn(Copied copied)
{
    auto file = std::make_shared<KRDataFileAscii>(Private{});
    file->initWithFile(std::move(copied));
    return file;
}

std::optional<KRDataFileEntry> KRDataFileAscii::entryFromDictionary(const platform::Value& dictionary) const
{
    return Entry::createFromDictionary(dictionary);
}

platform::Value KRDataFileAscii::dictionaryOf(const KRDataFileEntry& entry) const
{
    return Entry::dictionaryForm(entry);
}

// The content.

std::string KRDataFileAscii::standardizeVariableName(std::string_view name)
{
    std::string standard;
    while (!name.empty()) {
        const std::size_t end = std::min(name.find('_'), name.size());
        standard += name.substr(0, end);
        if (end == name.size())
            break;
        standard.erase(standard.find_last_not_of(' ') + 1);
        standard += '_';
        const std::size_t next = name.find_first_not_of(' ', end + 1);
        name = next == std::string_view::npos ? "" : name.substr(next);
    }
    return standard;
}

KRDataFileAscii::Step KRDataFileAscii::readRecord(AsciiText& text, Content& content)
{
    const std::string name = standardizeVariableName(text.readString().value_or(""));
    if (name.empty())
        return Step::End;
    const std::string type = text.readString().value_or("");
    const auto enter = [&](KRDataFileEntry entry) { content.insert_or_assign(name, std::move(entry)); };
    if (type.empty())
        return Step::Failed;
    if (type == "Real" || type == "Integer") {
        std::int32_t shape[3] = {};
        for (std::int32_t& dimension : shape)
            dimension = text.readInt();
        if (std::any_of(
                std::begin(shape), std::end(shape), [](std::int32_t dimension) { return dimension < 1; }))
            std::fill(std::begin(shape), std::end(shape), 0);
        text.skipByte();
        const auto make = type == "Real" ? Entry::createRealArrayEntryAt : Entry::createIntArrayEntryAt;
        enter(make(text.position(), static_cast<std::uint32_t>(shape[0]),
            static_cast<std::uint32_t>(shape[1]), static_cast<std::uint32_t>(shape[2])));
        return text.searchForNextAsterix() ? Step::Record : Step::End;
    }
    if (type == "Number") {
        KRDataFileEntry entry = Entry::createRealArrayEntryAt(text.position(), 1, 1, 1);
        const auto number = text.readNumberFromFile();
        if (!number)
            return Step::Failed;
        entry.setNumberValue(StorageNumber(*number));
        enter(std::move(entry));
        return Step::Record;
    }
    if (type == "String") {
        // The position behind the line, by the rules of the format; the text itself is kept.
        std::string value = text.readString().value_or("");
        enter(Entry::createStringEntryAt(text.position(), std::move(value)));
        return Step::Record;
    }
    KRMessageCenter::addMessage("Unknown type",
        fmt::format(
            "Unknown type encountered in the file \"{}\".  The type that was read was called \"{}\".  Make "
            "sure that the file you opened is in the ascii file format described in the help documentation",
            fileName_, type));
    return Step::Failed;
}

bool KRDataFileAscii::readInContentOfFile(const KRProgressCPP& progress)
{
    if (!makeSureFileIsOpen())
        return false;
    AsciiText text(*theFile_);
    currentLengthOfFile_ = text.length();
    const auto length = static_cast<double>(text.length());
    Content content;
    endOfEntries_ = 0;
    Step step = Step::Record;
    while (step == Step::Record) {
        // What follows a record that ends no line would be taken for a part of it.
        if (text.position() < text.length() || (text.position() == text.length() && text.endsWithLine()))
            endOfEntries_ = text.position();
        progress.UpdatePercentage(
            length > 0 ? static_cast<float>(static_cast<double>(text.position()) / length) : 0);
        step = progress.UserHasAborted() ? Step::Failed : readRecord(text, content);
    }
    theContent_ = std::move(content);
    return step != Step::Failed;
}

void KRDataFileAscii::catchUp()
{
    if (theFile_->length() > endOfEntries_)
        readInContentOfFile({});
}

bool KRDataFileAscii::readInContentFromIndex(const std::string& path)
{
    const auto index = platform::propertylist::readFile(path);
    if (!index || index->isNull()) {
        KRMessageCenter::addMessage(fmt::format("Could not open \"{}\".", path));
        return false;
    }
    const auto length = storage::numberInRange(*index, "Length", LLONG_MAX);
    const platform::Value* entries = index->find("Entries");
    const std::lock_guard lock(accessLock_);
    if (!length || !entries || !entries->dictionary() || !makeSureFileIsOpen()
        || theFile_->length() != static_cast<std::uint64_t>(*length))
        return false;
    theContent_.clear();
    for (const auto& [name, dictionary] : *entries->dictionary()) {
        const auto entry = Entry::createFromDictionary(dictionary);
        if (!entry) {
            theContent_.clear();
            return false;
        }
        theContent_.insert_or_assign(name, *entry);
    }
    currentLengthOfFile_ = static_cast<std::uint64_t>(*length);
    endOfEntries_ = AsciiText(*theFile_).endsWithLine() ? static_cast<std::uint64_t>(*length) : 0;
    return true;
}

// Reading.

KRAnyArray KRDataFileAscii::readArrayOfType(ElementType type, const std::string& name)
{
    return storage::hasAsciiForm(type) ? KRDataFile::readArrayOfType(type, name)
                                       : KRDataStorage::readArrayOfType(type, name);
}

template <class T>
std::size_t KRDataFileAscii::scanNumbers(const KRDataFileEntry& entry, std::size_t count, T* into)
{
    AsciiText text(*theFile_, entry.offsetInFile());
    if constexpr (!std::is_same_v<T, signed char>) {
        return text.readNumbers(count, into);
    } else {
        std::vector<std::int32_t> numbers(count);
        const std::size_t got = text.readNumbers(count, numbers.data());
        storage::convertElements(ElementType::Int, numbers.data(), got, ElementType::Character, into);
        return got;
    }
}

KRAnyArray KRDataFileAscii::readArray(const std::string& name, const KRDataFileEntry& entry, ElementType type)
{
    if (!makeSureFileIsOpen())
        return {};
    // A number needs a digit, and a blank before the next one. So much memory is taken at most.
    const std::uint64_t length = theFile_->length();
    const std::uint64_t most = entry.offsetInFile() < length ? (length - entry.offsetInFile() + 1) / 2 : 0;
    const bool isPossible = entry.elementCount() <= most;
    const auto count = static_cast<long>(std::min(entry.elementCount(), most));
    KRAnyArray array = isPossible ? KRAnyArray::make(type, entry.m(), entry.n(), entry.o())
                                  : KRAnyArray::make(type, count, 1, 1);
    if (!array || array.length() != count)
        return {};
    const std::size_t got = withElementType(type, [&]<class T>(std::type_identity<T>) -> std::size_t {
        if constexpr (std::is_floating_point_v<
                          T> || std::is_same_v<T, std::int32_t> || std::is_same_v<T, signed char>)
            return scanNumbers(
                entry, static_cast<std::size_t>(count), static_cast<T*>(array.mutableElements()));
        else
            return 0;
    });
    if (isPossible && got == static_cast<std::size_t>(count))
        return array;
    KRMessageCenter::addMessage(fmt::format("Could not read the array \"{}\"", name),
        fmt::format("Could not read the array \"{}\" from the file \"{}\".  Could only read {} entries", name,
            fileName_, got));
    return {};
}

std::optional<StorageNumber> KRDataFileAscii::readStoredNumber(
    const std::string&, const KRDataFileEntry& entry)
{
    float number = 0;
    if (!makeSureFileIsOpen() || scanNumbers(entry, 1, &number) != 1)
        return {};
    return StorageNumber(number);
}

std::optional<std::string> KRDataFileAscii::readText(const std::string&, KRDataFileEntry& entry)
{
    const std::string* text = entry.isAString() ? entry.stringValue() : nullptr;
    return text ? std::optional(*text) : std::nullopt;
}

// Writing.

bool KRDataFileAscii::writeTypedArray(const KRAnyArray& array, const std::string& withName)
{
    return storage::hasAsciiForm(array.type()) ? KRDataFile::writeTypedArray(array, withName)
                                               : KRDataStorage::writeTypedArray(array, withName);
}

platform::Result<std::vector<KRDataFile::NewVariable>> KRDataFileAscii::variablesFor(
    const std::string& name, const KRAnyArray& array)
{
    if (const auto status = isAsciiName(name); !status)
        return status.error();
    const bool isReal = array.type() == ElementType::Double || array.type() == ElementType::Float;
    const auto make = isReal ? Entry::createRealArrayEntryAt : Entry::createIntArrayEntryAt;
    std::string lines = storage::asciiLinesOf(array);
    // The numbers begin behind the lines of the type and of the dimensions.
    const std::size_t numbers = lines.find('\n', lines.find('\n') + 1) + 1;
    std::string head = name + "\n" + lines.substr(0, numbers);
    std::vector<NewVariable> variables;
    variables.push_back({name,
        make(0, static_cast<std::uint32_t>(array.m()), static_cast<std::uint32_t>(array.n()),
            static_cast<std::uint32_t>(array.o())),
        std::move(head), {}, lines.substr(numbers)});
    return variables;
}

platform::Result<KRDataFile::NewVariable> KRDataFileAscii::variableForText(
    const std::string& name, const std::string& text)
{
    if (const auto status = isAsciiName(name); !status)
        return status.error();
    if (const auto status = fitsLine("a text", text); !status)
        return status.error();
    return NewVariable{name, Entry::createStringEntryAt(0, text), name + "\nString\n", {}, text + "\n"};
}
