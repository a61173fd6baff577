// How structures are read from the entries of a data file and written as such.

#include "diagnostics/KRMessageCenter.h"
#include "variables/structures/EntryNames.h"
#include "variables/structures/KRVariableStructure.h"
#include "variables/structures/StoredWords.h"

#include <fmt/format.h>

#include <map>
#include <utility>

namespace names = variables::names;

namespace {

const KRVariableStructure::Report kReport = [](const MessageText& text, const MessageText& longVersion) {
    KRMessageCenter::addMessage(text, longVersion);
};

} // namespace

// Reads one description, level by level. Names grow by each level, so that a file can't make circles, but it
// can go deeper than any stack.
class KRVariableStructure::Reader {
public:
    Reader(KRDataStorage& storage, const Report& report) : storage_(storage), report_(report) { }

    Pointer group(const std::string& base);
    Pointer table(const std::string& base);
    Pointer series(const std::string& base);
    // Of a type whose description, if it is composite, stands at the base.
    Pointer ofType(const std::optional<std::string>& type, const std::string& base);

private:
    struct Entries {
        Names names;
        Types types;
    };
    std::optional<Entries> entries(const std::string& base);
    std::optional<std::string> typeOfEntry(const std::string& base, std::int64_t k, std::string& baseOfEntry);

    KRDataStorage& storage_;
    const Report& report_;
    int depth_ = 0;
    bool reported_ = false;
    std::map<std::string, Pointer> plainTypes_; // A group may have a million entries of one type.
};

KRVariableStructure::Pointer KRVariableStructure::Reader::ofType(
    const std::optional<std::string>& type, const std::string& base)
{
    Pointer (Reader::*const composite)(const std::string&) = type == "Group" ? &Reader::group
        : type == "Series"                                                   ? &Reader::series
        : type == "Table"                                                    ? &Reader::table
                                                                             : nullptr;
    if (!type) {
        report_("Internal error, invalid variable structure definition", nullptr);
        return nullptr;
    }
    if (!composite) {
        Pointer& plain = plainTypes_[*type];
        if (!plain)
            plain = createWithType(*type);
        return plain;
    }
    if (depth_ >= kMostNesting) {
        if (!std::exchange(reported_, true))
            report_("A variable structure is nested too deeply.",
                fmt::format("The description at \"{}...\" has more than {} levels.", base.substr(0, 100),
                    kMostNesting));
        return nullptr;
    }
    ++depth_;
    Pointer structure = (this->*composite)(base);
    --depth_;
    return structure;
}

std::optional<std::string> KRVariableStructure::Reader::typeOfEntry(
    const std::string& base, std::int64_t k, std::string& baseOfEntry)
{
    baseOfEntry = names::entryType(base, k);
    auto type = variables::wordUnder(storage_, baseOfEntry);
    if (type)
        return type;
    baseOfEntry = names::olderEntryType(base, k);
    return variables::wordUnder(storage_, baseOfEntry);
}

std::optional<KRVariableStructure::Reader::Entries> KRVariableStructure::Reader::entries(
    const std::string& base)
{
    const auto count = storage_.readNumber(names::count(base));
    if (!count || !(count->doubleValue() >= 1))
        return std::nullopt;
    Entries result;
    // The count is only a limit: a file that is being written has fewer entries, and a bad one may tell any.
    for (std::int64_t k = 1; static_cast<double>(k) <= count->doubleValue(); ++k) {
        std::string baseOfEntry;
        const auto type = typeOfEntry(base, k, baseOfEntry);
        auto name = type ? variables::wordUnder(storage_, names::entryName(base, k)) : std::nullopt;
        if (!name)
            break;
        if (Pointer structure = ofType(type, baseOfEntry)) {
            result.names.push_back(std::move(*name));
            result.types.push_back(std::move(structure));
        }
    }
    return result;
}

KRVariableStructure::Pointer KRVariableStructure::Reader::group(const std::string& base)
{
    auto read = entries(base);
    return read ? createWithGroupNames(std::move(read->names), std::move(read->types)) : nullptr;
}

KRVariableStructure::Pointer KRVariableStructure::Reader::table(const std::string& base)
{
    auto read = entries(base);
    return read ? createWithTableNames(std::move(read->names), std::move(read->types)) : nullptr;
}

KRVariableStructure::Pointer KRVariableStructure::Reader::series(const std::string& base)
{
    const std::string baseOfElement = names::elementType(base);
    Pointer element = ofType(variables::wordUnder(storage_, baseOfElement), baseOfElement);
    return element ? createSeriesWithType(std::move(element)) : nullptr;
}

KRVariableStructure::Pointer KRVariableStructure::readVariableStructureFor(
    const std::string& name, KRDataStorage& inside)
{
    if (!inside.contains(names::announcement(name)))
        return nullptr;
    const auto type = variables::readAnnouncement(inside, name).word;
    return type ? Reader(inside, kReport).ofType(type, names::description(name)) : nullptr;
}

KRVariableStructure::Pointer KRVariableStructure::readDescription(
    const std::string& type, const std::string& base, KRDataStorage& inside, const Report& report)
{
    return Reader(inside, report).ofType(type, base);
}

KRVariableStructure::Pointer KRVariableStructure::groupStructureFromName(
    const std::string& base, KRDataStorage& inside)
{
    return readDescription("Group", base, inside, kReport);
}

KRVariableStructure::Pointer KRVariableStructure::tableStructureFromName(
    const std::string& base, KRDataStorage& inside)
{
    return readDescription("Table", base, inside, kReport);
}

KRVariableStructure::Pointer KRVariableStructure::seriesStructureFromName(
    const std::string& base, KRDataStorage& inside)
{
    return readDescription("Series", base, inside, kReport);
}

bool KRVariableStructure::saveDescriptionAs(const std::string& base, KRDataStorage& inside) const
{
    if (!inside.writeString(type_, base))
        return false;
    if (kind_ == Kind::Series)
        return types_.empty() || types_.front()->saveDescriptionAs(names::elementType(base), inside);
    if (kind_ == Kind::Plain)
        return true;
    if (!inside.writeNumber(StorageNumber(static_cast<double>(types_.size())), names::count(base)))
        return false;
    for (std::size_t i = 0; i < types_.size(); ++i) {
        const auto k = static_cast<std::int64_t>(i) + 1;
        if (!inside.writeString(names_[i], names::entryName(base, k))
            || !types_[i]->saveDescriptionAs(names::entryType(base, k), inside))
            return false;
    }
    return true;
}
