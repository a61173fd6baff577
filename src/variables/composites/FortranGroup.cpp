#include "variables/composites/FortranGroup.h"

#include "diagnostics/KRMessageCenter.h"
#include "diagnostics/KRProgressEntry.h"
#include "variables/composites/PartValues.h"
#include "variables/reading/ReadingOperations.h"
#include "variables/structures/EntryNames.h"
#include "variables/structures/KRVariableModulesPref.h"
#include "variables/values/KRPlainValue.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

namespace names = variables::names;

namespace {

constexpr const char* kEndOfGroup = "Group End";
constexpr std::string_view kSeriesWord = "Series";
constexpr std::size_t kElementTypeAt = 9; // Behind "Series" and what joins the two words.
constexpr int kMostNesting = KRVariableStructure::kMostNesting;

// The items of a group, and of the groups in it.
class Items {
public:
    using Structure = KRVariableStructure::Pointer;

    Items(KRUnformattedFortranStream& stream, KRDataFile* file, std::optional<std::string> base,
        Structure wanted, int nesting)
        : stream_(stream), file_(file), base_(std::move(base)), wanted_(std::move(wanted)), nesting_(nesting)
    { }

    // Reads all; false when the reading ended before its time. What was read until then stands.
    bool read();
    Structure structure() const { return KRVariableStructure::createWithGroupNames(names_, types_); }

private:
    struct Series {
        std::optional<std::string> type; // Of the first step, or as declared.
        std::int64_t count = 0;
        double lastTime = 0;
    };
    struct Item {
        std::string name;
        std::string type;
        Series* series = nullptr; // Null for a plain value.
        double time = 0;
    };
    enum class Next { Item, Declaration, End, Failure };

    Next readHead(Item& item);
    bool readTime(Item& item);
    bool typeIsLegal(Item& item);
    bool readValue(const Item& item);
    bool isWanted(const Item& item) const;
    bool isRepeated(const Item& item) const;
    KRContainer::Value valueOf(
        const Item& item, const std::string& place, Structure& structure, bool& isWhole);
    bool save(const Item& item, const std::string& place, const KRContainer::Value& value);
    void keep(const Item& item, Structure structure);
    bool fail(const std::string& text);
    bool fail(const std::string& text, const std::string& longText);

    KRUnformattedFortranStream& stream_;
    KRDataFile* file_; // Null while data are skipped.
    std::optional<std::string> base_;
    Structure wanted_; // Null: everything.
    int nesting_;
    std::map<std::string, Series> series_;
    KRVariableStructure::Names names_;
    KRVariableStructure::Types types_;
};

bool Items::fail(const std::string& text)
{
    stream_.errorMessage(text);
    return false;
}

bool Items::fail(const std::string& text, const std::string& longText)
{
    stream_.errorMessage(text, longText);
    return false;
}

std::string mappedType(const std::string& word)
{
    if (word == "RealNumber")
        return "Real Number";
    return KRVariableModulesPref::shared()->typeForInterfaceName(word).value_or(word);
}

bool isLegal(const std::string& type)
{
    return KRVariableModulesPref::shared()->isAVariableType(type);
}

bool Items::read()
{
    for (;;) {
        Item item;
        const Next next = readHead(item);
        if (next == Next::Declaration || (next == Next::Item && readValue(item)))
            continue;
        // What was read until here stands.
        const auto count = static_cast<double>(names_.size());
        const bool isCounted = !base_ || !file_ || file_->writeNumber(StorageNumber(count), *base_);
        return isCounted && next == Next::End;
    }
}

Items::Next Items::readHead(Item& item)
{
    const auto name = stream_.readString();
    if (!name || name->empty() || *name == kEndOfGroup)
        return stream_.error() ? Next::Failure : Next::End;
    item.name = *name;
    const auto declared = series_.find(*name);
    item.series = declared == series_.end() ? nullptr : &declared->second;
    if (item.series && !readTime(item))
        return Next::Failure;
    const auto word = stream_.readString();
    if (!word) {
        fail("Could not read in a variable type");
        return Next::Failure;
    }
    if (!item.series && word->starts_with(kSeriesWord)) {
        Series& series = series_[*name];
        if (word->size() > kElementTypeAt)
            series.type = mappedType(word->substr(kElementTypeAt));
        return Next::Declaration;
    }
    item.type = mappedType(*word);
    return typeIsLegal(item) ? Next::Item : Next::Failure;
}

bool Items::readTime(Item& item)
{
    const auto time = stream_.readNumber();
    if (!time)
        return fail("Could not read a time value for a series",
            fmt::format("Could not read a time value for the series \"{}\".  Make sure you save Name - time "
                        "- type.",
                item.name));
    if (!std::isfinite(*time) || *time < 0)
        return fail("Invalid time value for series");
    if (*time < item.series->lastTime)
        return fail("Time series needs to be strictly increasing");
    item.time = *time;
    return true;
}

bool Items::typeIsLegal(Item& item)
{
    if (!isLegal(item.type)) {
        // The writer may have forgotten to declare a series: then a type stands where the value should.
        const auto next = stream_.readString();
        const std::string type = next ? mappedType(*next) : std::string();
        if (next && isLegal(type))
            return fail("Format error...",
                fmt::format("The variable \"{0}\" looks like it is a time series of \"{1}\", but you forgot "
                            "the declare it as such before the first time value is saved.  Add two strings, "
                            "the first being \"{0}\", the next being \"Series\" before this variable.",
                    item.name, type));
        return fail("Unknown type in file.",
            fmt::format("Invalid type - \"{}\" for variable \"{}\"", item.type, item.name));
    }
    if (!item.series)
        return true;
    if (!item.series->type)
        item.series->type = item.type;
    return *item.series->type == item.type || fail("All of the entry types in a series need to be the same.");
}

// Whether the item belongs to the structure that is wanted; a name of it with another type is reported.
bool Items::isWanted(const Item& item) const
{
    if (!wanted_)
        return true;
    const Structure type = wanted_->typeForGroupName(item.name);
    if (!type)
        return false;
    if (item.series && !type->isASeries()) {
        KRMessageCenter::addMessage("Need to be a series type.");
        return false;
    }
    if (!item.series && !type->isType(item.type)) {
        KRMessageCenter::addMessage("Unexpected data type.");
        return false;
    }
    return true;
}

// A name that has come before: its first value stays.
bool Items::isRepeated(const Item& item) const
{
    const bool repeated = !item.series && std::ranges::find(names_, item.name) != names_.end();
    if (repeated)
        KRMessageCenter::addMessage(
            fmt::format("The variable \"{}\" comes more than once: the first one stays.", item.name));
    return repeated;
}

bool Items::readValue(const Item& item)
{
    const bool skips = stream_.shouldSkipData();
    const bool stored = isWanted(item) && !isRepeated(item);
    std::string place = base_ ? names::part(*base_, item.name) : item.name;
    if (item.series)
        place = names::value(place, item.series->count);
    stream_.setShouldSkipData(skips || !stored);
    Structure structure; // Of a group, which may have ended before its time.
    bool isWhole = true;
    const auto value = valueOf(item, place, structure, isWhole);
    stream_.setShouldSkipData(skips);
    if (stream_.progress() && stream_.progress()->userHasAborted())
        return false;
    if (!value && !structure) {
        if (!stream_.atEndOfFile())
            fail("Could not read variable",
                fmt::format("Could not read in the variable \"{}\" with the type \"{}\"\nMake sure that the "
                            "format is correct.  The previous error messages should give an indication of "
                            "what failed.",
                    item.name, item.type));
        return false;
    }
    if (!stored)
        return isWhole;
    if (!structure)
        structure = variables::structureOf(value, item.type);
    Structure wanted = wanted_ ? wanted_->typeForGroupName(item.name) : nullptr;
    if (wanted && wanted->isASeries())
        wanted = wanted->seriesType();
    if (wanted && !wanted->isEqual(structure))
        KRMessageCenter::addMessage("Wrong type stored");
    if (!save(item, place, value))
        return false;
    keep(item, std::move(structure));
    return isWhole;
}

// A group writes its entries itself, and is known by its structure alone.
KRContainer::Value Items::valueOf(
    const Item& item, const std::string& place, Structure& structure, bool& isWhole)
{
    if (item.type == "Group") {
        if (nesting_ >= kMostNesting) {
            fail("Unknown type in file.");
            return nullptr;
        }
        Structure wanted = wanted_ ? wanted_->typeForGroupName(item.name) : nullptr;
        if (wanted && wanted->isASeries())
            wanted = wanted->seriesType();
        KRDataFile* const file = stream_.shouldSkipData() ? nullptr : file_;
        Items items(stream_, file, place, wanted, nesting_ + 1);
        isWhole = items.read();
        structure = items.structure();
        return nullptr;
    }
    if (item.type == "Real Number") {
        const auto number = stream_.readNumber();
        return number ? KRRealNumber::create(*number) : nullptr;
    }
    if (item.type == "String") {
        auto text = stream_.readString();
        return text ? std::make_shared<const KRString>(std::move(*text)) : nullptr;
    }
    const ReadingOperation* const operation = ReadingOperations::forType(item.type);
    return operation && operation->createFromUnformattedFortranStream
        ? operation->createFromUnformattedFortranStream(stream_)
        : nullptr;
}

bool Items::save(const Item& item, const std::string& place, const KRContainer::Value& value)
{
    if (!file_)
        return true;
    if (value && !variables::savePart(value, *file_, place, nullptr))
        return fail("saveIntoFile not implemented for type.");
    return !item.series || file_->writeNumber(StorageNumber(item.time), names::time(place));
}

void Items::keep(const Item& item, Structure structure)
{
    if (item.series) {
        item.series->lastTime = item.time;
        if (item.series->count++ > 0)
            return;
        structure = KRVariableStructure::createSeriesWithType(std::move(structure));
    }
    if (!base_ && file_)
        file_->writeString(item.type, names::announcement(item.name));
    names_.push_back(item.name);
    types_.push_back(std::move(structure));
}

} // namespace

std::optional<FortranGroup> createFromUnformattedFortranStream(KRUnformattedFortranStream& stream,
    const std::optional<std::string>& baseName, const KRVariableStructure::Pointer& structure)
{
    FortranGroup group;
    std::shared_ptr<KRDataFile> file;
    if (!stream.shouldSkipData()) {
        const auto name = KRContainerFileName::checkOutTemporaryName();
        if (!name)
            return std::nullopt;
        group.file = KRContainerFileName::createWithTemporaryFile(*name + ".svbin");
        file = KRDataFile::openNewFileWithName(*name + ".svbin");
        if (!file)
            return std::nullopt;
    }
    Items items(stream, file.get(), baseName, structure, 0);
    items.read();
    group.structure = items.structure();
    if (file) {
        file.reset();
        group.file->resetFileSize();
        // Scanned anew: the object that wrote the file tells no texts in its structure.
        const auto scanned = KRDataFile::openFileContainer(group.file);
        group.fileStructure = scanned ? scanned->structure() : platform::Value();
    }
    return group;
}
