#pragma once

#include <string>
#include <vector>

class SVDataStorage;

// The type of a variable of a data file (docs/variables.md). A plain type is a name alone, such as "Real
// Number" or "Path2D"; a group has named entries, a table named columns, and a series the type of its
// elements. Types nest. A value class: copies are independent, and threads may read one object.
class SVVariableType {
public:
    struct Part; // A name and a type.
    enum class Kind { Plain, Group, Table, Series };

    SVVariableType(const char* plainName); // Null counts as an empty name, which no variable can have.
    SVVariableType(std::string plainName);
    static SVVariableType Group(std::vector<Part> entries); // In the order in which they are listed.
    static SVVariableType Table(std::vector<Part> columns); // Each is a "NumberList" or a "StringList".
    static SVVariableType Series(SVVariableType element);

    Kind GetKind() const { return kind; }
    bool IsPlain() const { return kind == Kind::Plain; }
    const std::string& Name() const { return name; } // "Group", "Table", "Series" or the plain name.
    // Entries of a group, columns of a table; a series has its element alone, without a name.
    const std::vector<Part>& Parts() const { return parts; }

    // A sentence about why no reader would take a variable of this type; empty if the type is good. Names of
    // the entries of groups aren't looked at.
    std::string Fault() const;
    // Writes the description of the type at a base name.
    void SaveDescription(SVDataStorage& storage, const std::string& base) const;

private:
    SVVariableType(Kind kindOfType, const char* typeName, std::vector<Part> typeParts);

    Kind kind = Kind::Plain;
    std::string name;
    std::vector<Part> parts;
};

struct SVVariableType::Part {
    std::string name;
    SVVariableType type;
};
