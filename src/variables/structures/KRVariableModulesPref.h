#pragma once

#include "platform/plist/Value.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Which types variables may have, by the resources of the program:
//
//   TypeNames.plist                      from type name to interface name, for people
//   ChangedVariableModules.plist         from an old type name to its new one; may be missing
//   ExternalProgramVarDefinitions.plist  from type name to properties; may be missing
//
// A resource that can't be used is reported with its path and line; the types that the program knows by
// itself take the place of TypeNames. Immutable: any thread.
class KRVariableModulesPref {
    struct Private { };

public:
    using Pointer = std::shared_ptr<const KRVariableModulesPref>;

    // The registry of the process, from the folder of the program's resources. Read at the first call, which
    // the start of a program makes so that a broken resource is told then.
    static const Pointer& shared();
    // From the resources in a folder. Never null.
    static Pointer createFromFolder(const std::string& folder);

    // Sorted without regard to case.
    const std::vector<std::string>& allVariableTypes() const { return allVariableTypes_; }
    bool isAVariableType(std::string_view type) const
    {
        return interfaceNames_.find(type) != interfaceNames_.end();
    }
    std::optional<std::string> typeForInterfaceName(
        std::string_view name) const; // Nothing for an unknown one.
    std::string interfaceNameForType(const std::string& type) const; // The type itself without one.
    // The present name of a type that may have been renamed.
    std::string checkIfTypeChanged(const std::string& type) const;
    // Type names with dictionaries of properties; "DataType" is the type's name in the computational library.
    const platform::Value& variableInformation() const { return variableInformation_; }
    // Whether the values of a type answer a property, such as "valueRange" or "boundingBox2D": it stands as
    // true among the type's properties.
    bool respondsTo(std::string_view property, std::string_view type) const;

    explicit KRVariableModulesPref(Private) { }

private:
    void takeTypeNames(const std::optional<platform::Value>& resource, const std::string& path);
    void takeChangedModules(const platform::Value& resource);
    void useBuiltInTypes();
    void indexTypes();

    std::map<std::string, std::string, std::less<>> interfaceNames_; // By type name.
    std::map<std::string, std::string, std::less<>> typesByInterfaceName_;
    std::map<std::string, std::string, std::less<>> changedTypes_; // From the old name to the new one.
    std::vector<std::string> allVariableTypes_;
    platform::Value variableInformation_;
};
