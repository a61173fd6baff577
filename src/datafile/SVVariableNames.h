#pragma once

#include "datafile/SVVariableType.h"

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The names in a data file that typed variables take up. A variable V has more entries than the one that is
// called V: its time is V_time, its third value V_2, and the entry "a" of a group is V_a. Two variables whose
// entries have a name in common would overwrite each other.
class SVVariableNames {
public:
    // Whether a variable has its value under its own name or a value for each of several times.
    enum class Values { One, Many };

    // A sentence about why a variable can't have that name and type beside those that were added; empty if it
    // can. The type must have no fault of its own.
    std::string Fault(const std::string& name, const SVVariableType& type, Values values) const;
    void Add(const std::string& name, const SVVariableType& type, Values values);

private:
    // What an entry is the base name of; this decides the endings that it owns.
    enum class Base { Value, Strings, Series, Columns, Description };
    using Entries = std::vector<std::pair<std::string, Base>>;

    // The same for the entries of each group in a type among themselves.
    static std::string FaultOfGroups(const SVVariableType& type);
    static std::string FaultOfEntries(const SVVariableType& group);
    static Base BaseOf(const SVVariableType& type);
    static Entries EntriesOf(const std::string& name, const SVVariableType& type, Values values);
    static void AppendEntries(const std::string& name, const SVVariableType& type, Entries& entries);
    static bool OwnsEnding(Base base, std::string_view ending);
    std::string Collision(const std::string& name, Base base) const;

    std::map<std::string, Base, std::less<>> taken;
};
