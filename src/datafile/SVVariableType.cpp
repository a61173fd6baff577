#include "datafile/SVVariableType.h"

#include "datafile/SVDataStorage.h"

#include <set>
#include <utility>

SVVariableType::SVVariableType(const char* plainName) : name(plainName ? plainName : "") { }

SVVariableType::SVVariableType(std::string plainName) : name(std::move(plainName)) { }

SVVariableType::SVVariableType(Kind kindOfType, const char* typeName, std::vector<Part> typeParts)
    : kind(kindOfType), name(typeName), parts(std::move(typeParts))
{ }

SVVariableType SVVariableType::Group(std::vector<Part> entries)
{
    return {Kind::Group, "Group", std::move(entries)};
}

SVVariableType SVVariableType::Table(std::vector<Part> columns)
{
    return {Kind::Table, "Table", std::move(columns)};
}

SVVariableType SVVariableType::Series(SVVariableType element)
{
    std::vector<Part> parts;
    parts.push_back({"", std::move(element)});
    return {Kind::Series, "Series", std::move(parts)};
}

namespace {

std::string faultOfPlainName(const std::string& name)
{
    if (name.empty())
        return "The type has no name.";
    if (name == "Group" || name == "Table" || name == "Series")
        return "A " + name + " needs a description of its parts.";
    return {};
}

std::string faultOfColumns(const std::vector<SVVariableType::Part>& columns)
{
    std::set<std::string> names;
    for (const auto& [name, type] : columns) {
        if (type.Name() != "NumberList" && type.Name() != "StringList")
            return "The column \"" + name + "\" is no NumberList or StringList.";
        if (name.empty() || !names.insert(name).second)
            return "Each column of a table needs a name of its own.";
    }
    return {};
}

} // namespace

std::string SVVariableType::Fault() const
{
    if (kind == Kind::Plain)
        return faultOfPlainName(name);
    if (parts.empty())
        return kind == Kind::Group ? "The group has no entries." : "The table has no columns.";
    if (kind == Kind::Table)
        return faultOfColumns(parts);
    for (const Part& part : parts)
        if (std::string fault = part.type.Fault(); !fault.empty())
            return fault;
    return {};
}

void SVVariableType::SaveDescription(SVDataStorage& storage, const std::string& base) const
{
    storage.Save(name, base);
    if (kind == Kind::Series) {
        for (const Part& element : parts)
            element.type.SaveDescription(storage, base + "_type");
        return;
    }
    if (kind == Kind::Plain)
        return;
    storage.Save(static_cast<double>(parts.size()), base + "_N");
    for (std::size_t k = 0; k < parts.size(); ++k) {
        const std::string entry = base + "_" + std::to_string(k + 1);
        storage.Save(parts[k].name, entry + "N");
        parts[k].type.SaveDescription(storage, entry + "T");
    }
}
