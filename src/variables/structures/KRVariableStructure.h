#pragma once

#include "diagnostics/KRMessageCenter.h"
#include "platform/plist/Value.h"
#include "storage/KRDataStorage.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

// The type of a variable: a plain type is a name alone; a group or table is a list of named types, and a
// series has the type of its elements. Immutable, so that threads share the objects.
//
// Failures are reported to KRMessageCenter and give null or an empty answer. Structures nest at most
// kMostNesting deep: a deeper one is reported and null, since a file could make any depth.
class KRVariableStructure {
    struct Private { };

public:
    using Pointer = std::shared_ptr<const KRVariableStructure>;
    using Names = std::vector<std::string>;
    using Types = std::vector<Pointer>;
    static constexpr int kMostNesting = 512;

    // "Group" gives an empty group, "Series" a series of nothing yet, "Table" an empty table, any other text
    // a plain type. Null, with a report, for a null value and for what is no text.
    static Pointer createWithType(const platform::Value& type);
    // Null, with a report, for lists of different lengths and for a null type. A name that comes twice stays
    // twice in the lists and answers with its last type.
    static Pointer createWithGroupNames(Names names, Types types);
    static Pointer createWithTableNames(Names names, Types types);
    // A null element makes a series of nothing yet. The name of an element is accepted for old callers and
    // reported.
    static Pointer createSeriesWithType(Pointer element);
    static Pointer createSeriesWithType(std::nullptr_t) { return createSeriesWithType(Pointer()); }
    static Pointer createSeriesWithType(const std::string& element);

    // Reading by the conventions of docs/variables.md. A description that stops halfway gives the entries
    // read until then, since its file may still be growing.
    //
    // Of a variable by its name; null when it isn't announced or its announcement is a type code.
    static Pointer readVariableStructureFor(const std::string& name, KRDataStorage& inside);
    // Of a description at a base name. Null for a group or table without entries, and for a series whose
    // element can't be read.
    static Pointer groupStructureFromName(const std::string& base, KRDataStorage& inside);
    static Pointer tableStructureFromName(const std::string& base, KRDataStorage& inside);
    static Pointer seriesStructureFromName(const std::string& base, KRDataStorage& inside);
    // Any of these by the type, with a receiver for the reports: one who reads a growing file again and again
    // leaves out those that came before.
    using Report = std::function<void(const MessageText& text, const MessageText& longVersion)>;
    static Pointer readDescription(
        const std::string& type, const std::string& base, KRDataStorage& inside, const Report& report);
    // Writes the description; false when a part can't be written.
    bool saveDescriptionAs(const std::string& base, KRDataStorage& inside) const;

    const std::string& type() const { return type_; }
    const std::string& variableType() const { return type_; }
    bool isType(std::string_view type) const { return type_ == type; }
    bool isASeries() const { return kind_ == Kind::Series; }
    bool isAGroup() const { return kind_ == Kind::Group; }
    bool isATable() const { return kind_ == Kind::Table; }

    // A question for another kind of structure is reported and answered with null or nothing.
    const Pointer& seriesType() const;
    const Names& groupNames() const;
    const Types& groupTypes() const;
    Pointer typeForGroupName(std::string_view name) const; // Null for an unknown name.
    const Names& tableNames() const;
    const Types& tableTypes() const;
    Pointer typeForTableName(std::string_view name) const; // An unknown name is reported.

    // Whether an entry of a group, or of a group inside of it, is a series. Tables aren't searched.
    bool groupContainsSeries() const;
    // Of the same kind with equal parts, in the same order. False for null.
    bool isEqual(const Pointer& other) const;

    // Several lines, in which only plain types end their lines.
    std::string description() const;
    std::string desriptionWithIndentation(const std::string& indentation) const;
    // The type's name in the computational library; nothing for a type that has none there.
    std::optional<std::string> SVSourceTypeName() const;

    enum class Kind { Plain, Group, Table, Series };
    KRVariableStructure(Private, Kind kind, std::string type, Names names, Types types);

private:
    class Reader;

    static Pointer create(Kind kind, std::string type, Names names, Types types);
    static Pointer createNamed(Kind kind, Names names, Types types);
    bool isOfKind(Kind kind, const char* question) const;
    Pointer typeNamed(std::string_view name) const;

    Kind kind_;
    int nesting_ = 0; // Levels of composite types.
    std::string type_;
    Names names_; // Of a group or table.
    Types types_; // The same order; of a series its element, if any.
    std::unordered_map<std::string_view, std::size_t> positions_; // In names_.
};
