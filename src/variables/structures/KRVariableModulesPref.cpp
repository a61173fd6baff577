#include "variables/structures/KRVariableModulesPref.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/files/File.h"
#include "platform/files/Places.h"
#include "platform/plist/PropertyList.h"
#include "variables/structures/BuiltInTypes.h"
#include "variables/structures/IgnoringCase.h"

#include <fmt/format.h>

#include <algorithm>

namespace {

using platform::Value;

constexpr std::uint64_t kMostBytesOfResource = std::uint64_t{1} << 24;

// Spelled unlike the types, and known whatever the resource says.
constexpr std::pair<const char*, const char*> kAddedInterfaceNames[] = {
    {"3D Prizm Vector Field", "PrismVectorField3D"},
    {"3D Prizm Mesh", "PrismMesh3D"},
    {"3D Prizm Grid", "PrismGrid3D"},
};

// The line of a key in the text of a list; 1 for one that is written in another way.
long lineOfKey(const std::string& path, const std::string& key)
{
    auto file = platform::File::open(path, platform::File::Mode::Read);
    const auto text = file ? file->readAll(kMostBytesOfResource) : platform::Result<std::string>("");
    const std::size_t place = text ? text->find("<key>" + key + "</key>") : std::string::npos;
    if (place == std::string::npos)
        return 1;
    return 1 + std::count(text->begin(), text->begin() + static_cast<std::ptrdiff_t>(place), '\n');
}

// The reason begins with the path.
void reportBroken(const std::string& reason)
{
    KRMessageCenter::addMessage("A resource of the program can't be used.",
        reason + "\nThe program goes on with what it knows by itself.");
}

enum class Missing { IsFine, IsAFault };

// The dictionary of a resource; nothing when there is none to use, which is reported.
std::optional<Value> readResource(const std::string& path, Missing missing)
{
    const auto list = platform::propertylist::readFile(path);
    if (!list) {
        reportBroken(list.error().text);
        return std::nullopt;
    }
    if (list->isNull()) {
        if (missing == Missing::IsAFault)
            reportBroken(path + " is missing");
        return std::nullopt;
    }
    if (!list->dictionary()) {
        reportBroken(path + " can't be used: line 1: the list isn't a dictionary");
        return std::nullopt;
    }
    return *list;
}

} // namespace

const KRVariableModulesPref::Pointer& KRVariableModulesPref::shared()
{
    static const Pointer registry = createFromFolder(platform::Places::resources());
    return registry;
}

KRVariableModulesPref::Pointer KRVariableModulesPref::createFromFolder(const std::string& folder)
{
    const auto registry = std::make_shared<KRVariableModulesPref>(Private());
    const std::string typeNames = folder + "/TypeNames.plist";
    const std::string changed = folder + "/ChangedVariableModules.plist";
    const std::string definitions = folder + "/ExternalProgramVarDefinitions.plist";
    registry->takeTypeNames(readResource(typeNames, Missing::IsAFault), typeNames);
    registry->indexTypes();
    registry->takeChangedModules(readResource(changed, Missing::IsFine).value_or(Value()));
    registry->variableInformation_ =
        readResource(definitions, Missing::IsFine).value_or(Value(Value::Dictionary()));
    return registry;
}

void KRVariableModulesPref::useBuiltInTypes()
{
    interfaceNames_.clear();
    for (const auto& [type, interfaceName] : variables::kBuiltInTypes)
        interfaceNames_.emplace(type, interfaceName);
}

void KRVariableModulesPref::takeTypeNames(const std::optional<Value>& resource, const std::string& path)
{
    if (!resource) {
        useBuiltInTypes();
        return;
    }
    for (const auto& [type, interfaceName] : *resource->dictionary()) {
        if (!interfaceName.text()) {
            reportBroken(fmt::format("{} can't be used: line {}: the interface name of \"{}\" isn't a text",
                path, lineOfKey(path, type), type));
            useBuiltInTypes();
            return;
        }
        interfaceNames_.emplace(type, *interfaceName.text());
    }
}

void KRVariableModulesPref::indexTypes()
{
    for (const auto& [type, interfaceName] : interfaceNames_) {
        allVariableTypes_.push_back(type);
        typesByInterfaceName_[interfaceName] = type;
    }
    std::sort(allVariableTypes_.begin(), allVariableTypes_.end(), variables::lessIgnoringCase);
    for (const auto& [interfaceName, type] : kAddedInterfaceNames)
        typesByInterfaceName_[interfaceName] = type;
}

// An entry of another form changes nothing and is no fault.
void KRVariableModulesPref::takeChangedModules(const Value& resource)
{
    const Value::Dictionary* const entries = resource.dictionary();
    if (!entries)
        return;
    for (const auto& [oldName, entry] : *entries)
        if (const auto newName =
                entry.text() ? std::optional(*entry.text()) : entry.textFor("NewVariableTypeName"))
            changedTypes_[oldName] = *newName;
}

std::optional<std::string> KRVariableModulesPref::typeForInterfaceName(std::string_view name) const
{
    const auto place = typesByInterfaceName_.find(name);
    return place == typesByInterfaceName_.end() ? std::nullopt : std::optional(place->second);
}

std::string KRVariableModulesPref::interfaceNameForType(const std::string& type) const
{
    const auto place = interfaceNames_.find(type);
    return place == interfaceNames_.end() ? type : place->second;
}

bool KRVariableModulesPref::respondsTo(std::string_view property, std::string_view type) const
{
    const Value* const properties = variableInformation_.find(std::string(type));
    const Value* const answer = properties ? properties->find(std::string(property)) : nullptr;
    return answer && answer->boolean().value_or(false);
}

std::string KRVariableModulesPref::checkIfTypeChanged(const std::string& type) const
{
    const auto place = changedTypes_.find(type);
    return place == changedTypes_.end() ? type : place->second;
}
