#include "variables/structures/KRVariableStructure.h"

#include "diagnostics/KRMessageCenter.h"
#include "variables/structures/KRVariableModulesPref.h"

#include <algorithm>
#include <utility>

namespace {

constexpr std::string_view kStep = "    ";

// Asking for a name that isn't there is reported in these words for a table alone.
constexpr const char* kUnexpectedTableName = "Internal, in typeForTableName an unexpected table name.";

} // namespace

KRVariableStructure::KRVariableStructure(Private, Kind kind, std::string type, Names names, Types types)
    : kind_(kind), type_(std::move(type)), names_(std::move(names)), types_(std::move(types))
{
    for (std::size_t i = 0; i < names_.size(); ++i)
        positions_[names_[i]] = i;
    if (kind != Kind::Plain)
        nesting_ = 1;
    for (const Pointer& part : types_)
        nesting_ = std::max(nesting_, part->nesting_ + 1);
}

KRVariableStructure::Pointer KRVariableStructure::create(
    Kind kind, std::string type, Names names, Types types)
{
    auto structure = std::make_shared<const KRVariableStructure>(
        Private(), kind, std::move(type), std::move(names), std::move(types));
    if (structure->nesting_ <= kMostNesting)
        return structure;
    KRMessageCenter::addMessage("A variable structure is nested too deeply.");
    return nullptr;
}

KRVariableStructure::Pointer KRVariableStructure::createWithType(const platform::Value& type)
{
    if (type.isNull()) {
        KRMessageCenter::addMessage("Internal error, invalid variable structure definition");
        return nullptr;
    }
    const std::string* const name = type.text();
    if (!name) {
        KRMessageCenter::seriousErrorMessage("Wrong type (needs to be a string)");
        return nullptr;
    }
    const Kind kind = *name == "Group" ? Kind::Group
        : *name == "Table"             ? Kind::Table
        : *name == "Series"            ? Kind::Series
                                       : Kind::Plain;
    return create(kind, *name, {}, {});
}

KRVariableStructure::Pointer KRVariableStructure::createNamed(Kind kind, Names names, Types types)
{
    const bool isGroup = kind == Kind::Group;
    if (names.size() != types.size()) {
        KRMessageCenter::addMessage(isGroup ? "Internal error, invalid group structure definition"
                                            : "Internal error, invalid table structure definition");
        return nullptr;
    }
    if (std::find(types.begin(), types.end(), nullptr) != types.end()) {
        KRMessageCenter::addMessage(isGroup ? "Internal error, invalid type in group structure definition"
                                            : "Internal error, invalid type in table structure definition");
        return nullptr;
    }
    return create(kind, isGroup ? "Group" : "Table", std::move(names), std::move(types));
}

KRVariableStructure::Pointer KRVariableStructure::createWithGroupNames(Names names, Types types)
{
    return createNamed(Kind::Group, std::move(names), std::move(types));
}

KRVariableStructure::Pointer KRVariableStructure::createWithTableNames(Names names, Types types)
{
    return createNamed(Kind::Table, std::move(names), std::move(types));
}

KRVariableStructure::Pointer KRVariableStructure::createSeriesWithType(Pointer element)
{
    return create(Kind::Series, "Series", {}, element ? Types{std::move(element)} : Types());
}

KRVariableStructure::Pointer KRVariableStructure::createSeriesWithType(const std::string& element)
{
    KRMessageCenter::addMessage("Invalid series type definition");
    return createSeriesWithType(createWithType(element));
}

// Queries.

bool KRVariableStructure::isOfKind(Kind kind, const char* question) const
{
    if (kind_ == kind)
        return true;
    const char* const word = kind == Kind::Group ? "Group" : kind == Kind::Table ? "Table" : "Series";
    KRMessageCenter::addMessage(
        std::string("Calling ") + question + " for a variableStructure that is not a " + word);
    return false;
}

const KRVariableStructure::Pointer& KRVariableStructure::seriesType() const
{
    static const Pointer kNothing;
    return isOfKind(Kind::Series, "seriesType") && !types_.empty() ? types_.front() : kNothing;
}

const KRVariableStructure::Names& KRVariableStructure::groupNames() const
{
    static const Names kNoNames;
    return isOfKind(Kind::Group, "groupNames") ? names_ : kNoNames;
}

const KRVariableStructure::Types& KRVariableStructure::groupTypes() const
{
    static const Types kNoTypes;
    return isOfKind(Kind::Group, "groupTypes") ? types_ : kNoTypes;
}

const KRVariableStructure::Names& KRVariableStructure::tableNames() const
{
    static const Names kNoNames;
    return isOfKind(Kind::Table, "tableNames") ? names_ : kNoNames;
}

const KRVariableStructure::Types& KRVariableStructure::tableTypes() const
{
    static const Types kNoTypes;
    return isOfKind(Kind::Table, "tableTypes") ? types_ : kNoTypes;
}

KRVariableStructure::Pointer KRVariableStructure::typeNamed(std::string_view name) const
{
    const auto place = positions_.find(name);
    return place == positions_.end() ? nullptr : types_[place->second];
}

KRVariableStructure::Pointer KRVariableStructure::typeForGroupName(std::string_view name) const
{
    return isOfKind(Kind::Group, "typeForGroupName") ? typeNamed(name) : nullptr;
}

KRVariableStructure::Pointer KRVariableStructure::typeForTableName(std::string_view name) const
{
    if (!isOfKind(Kind::Table, "typeForTableName"))
        return nullptr;
    Pointer type = typeNamed(name);
    if (!type)
        KRMessageCenter::addMessage(kUnexpectedTableName);
    return type;
}

bool KRVariableStructure::groupContainsSeries() const
{
    return kind_ == Kind::Group && std::any_of(types_.begin(), types_.end(), [](const Pointer& type) {
        return type->isASeries() || type->groupContainsSeries();
    });
}

bool KRVariableStructure::isEqual(const Pointer& other) const
{
    if (other.get() == this)
        return true;
    return other && kind_ == other->kind_ && type_ == other->type_ && names_ == other->names_
        && std::equal(types_.begin(), types_.end(), other->types_.begin(), other->types_.end(),
            [](const Pointer& mine, const Pointer& theirs) { return mine->isEqual(theirs); });
}

// Descriptions.

std::string KRVariableStructure::description() const
{
    return kind_ == Kind::Plain ? type_ : desriptionWithIndentation(std::string(kStep));
}

std::string KRVariableStructure::desriptionWithIndentation(const std::string& indentation) const
{
    const std::string deeper = indentation + std::string(kStep);
    switch (kind_) {
    case Kind::Plain:
        return type_ + "\n";
    case Kind::Series:
        return "Series of "
            + (types_.empty() ? "(nothing)" : types_.front()->desriptionWithIndentation(deeper));
    case Kind::Group:
    case Kind::Table:
        break;
    }
    if (types_.empty())
        return type_ + " (empty)";
    std::string text = type_ + "\n";
    for (std::size_t i = 0; i < types_.size(); ++i)
        text += indentation + names_[i] + " = " + types_[i]->desriptionWithIndentation(deeper);
    return text;
}

std::optional<std::string> KRVariableStructure::SVSourceTypeName() const
{
    const auto dataType = [](const std::string& type) {
        const platform::Value* const properties =
            KRVariableModulesPref::shared()->variableInformation().find(type);
        return properties ? properties->textFor("DataType") : std::nullopt;
    };
    if (kind_ != Kind::Series)
        return dataType(type_);
    if (types_.empty())
        return std::nullopt;
    const std::string& element = types_.front()->type_;
    // These three have other names in the library than their elements have.
    if (element == "Real Number")
        return "SVSeriesRealNumber";
    if (element == "Array" || element == "NumberList")
        return "SVSeries" + element;
    constexpr std::size_t kLengthOfPrefix = 2; // "SV".
    const auto name = dataType(element);
    if (!name || name->size() < kLengthOfPrefix)
        return std::nullopt;
    return "SVSeries" + name->substr(kLengthOfPrefix);
}
