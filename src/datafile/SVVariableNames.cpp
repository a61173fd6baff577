#include "datafile/SVVariableNames.h"

#include "datafile/SVDataFileFormat.h"
#include "datafile/SVMatlabFormat.h"

#include <algorithm>

namespace {

constexpr std::size_t kLongestName = std::min(kSVLongestName, kSVMatlabLongestName) - 1; // Without its NUL.
constexpr std::size_t kStepLength = std::string_view("_2147483647").size();
// The longest ending of a value: one of its parameters is a list of strings.
constexpr std::size_t kValueEnding = std::string_view("_prmtrs_2147483647_offs").size();
constexpr std::size_t kDescription = std::string_view("SeqInfo_").size();
constexpr std::size_t kElementType = std::string_view("_type").size();

// Bytes of the longest name of an entry of a value whose own name has `base` bytes.
std::size_t longestValueEntry(const SVVariableType& type, std::size_t base)
{
    std::size_t longest = base + kStepLength + kValueEnding;
    for (const auto& [name, partType] : type.Parts()) {
        if (type.GetKind() == SVVariableType::Kind::Group)
            longest = std::max(longest, longestValueEntry(partType, base + 1 + name.size()));
        else if (type.GetKind() == SVVariableType::Kind::Series)
            longest = std::max(longest, longestValueEntry(partType, base + kStepLength));
    }
    return longest;
}

// The same for a description.
std::size_t longestDescriptionEntry(const SVVariableType& type, std::size_t base)
{
    const bool isSeries = type.GetKind() == SVVariableType::Kind::Series;
    const std::size_t ending = isSeries ? kElementType : kStepLength + 1; // A "T" or "N" behind the number.
    std::size_t longest = base;
    for (const auto& part : type.Parts())
        longest = std::max(longest, longestDescriptionEntry(part.type, base + ending));
    return longest;
}

std::string faultOfText(const std::string& name)
{
    if (name.empty())
        return "The name is empty.";
    const bool isPrintable = std::all_of(
        name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) >= ' ' && c != '\x7f'; });
    return isPrintable ? std::string() : "The name \"" + name + "\" has a control character.";
}

bool startsWith(std::string_view text, std::string_view beginning)
{
    return text.substr(0, beginning.size()) == beginning;
}

} // namespace

bool SVVariableNames::OwnsEnding(Base base, std::string_view ending)
{
    const std::string_view word = ending.substr(0, ending.find('_'));
    const std::size_t digits = std::min(word.find_first_not_of("0123456789"), word.size());
    const std::string_view behindNumber = digits > 0 ? word.substr(digits) : std::string_view("none");
    if (behindNumber.empty() || ending == "time" || word == "prmtrs" || ending == "3D")
        return true;
    switch (base) {
    case Base::Value:
        return false;
    case Base::Strings:
        return ending == "offs" || ending == "T";
    case Base::Series:
        return word == "type";
    case Base::Columns:
        return behindNumber == "N" || behindNumber == "V";
    case Base::Description:
        return behindNumber == "N" || behindNumber == "T" || word == "type" || ending == "N";
    }
    return false;
}

std::string SVVariableNames::Collision(const std::string& name, Base base) const
{
    const auto sentence = [&name](const std::string& other) {
        return "The entries of \"" + name + "\" would collide with those of \"" + other + "\".";
    };
    if (taken.find(name) != taken.end())
        return "A variable has an entry \"" + name + "\" already.";
    for (std::size_t bar = name.find('_'); bar != std::string::npos; bar = name.find('_', bar + 1)) {
        const auto owner = taken.find(std::string_view(name).substr(0, bar));
        if (owner != taken.end() && OwnsEnding(owner->second, std::string_view(name).substr(bar + 1)))
            return sentence(owner->first);
    }
    const std::string beginning = name + "_";
    for (auto other = taken.lower_bound(beginning);
         other != taken.end() && startsWith(other->first, beginning); ++other)
        if (OwnsEnding(base, std::string_view(other->first).substr(beginning.size())))
            return sentence(other->first);
    return {};
}

SVVariableNames::Base SVVariableNames::BaseOf(const SVVariableType& type)
{
    switch (type.GetKind()) {
    case SVVariableType::Kind::Series:
        return Base::Series;
    case SVVariableType::Kind::Table:
        return Base::Columns;
    default:
        return type.Name() == "StringList" ? Base::Strings : Base::Value;
    }
}

void SVVariableNames::AppendEntries(const std::string& name, const SVVariableType& type, Entries& entries)
{
    entries.emplace_back(name, BaseOf(type));
    if (type.GetKind() == SVVariableType::Kind::Series)
        entries.emplace_back("SeqInfo_" + name + "_TimeValues", Base::Value);
    if (type.GetKind() == SVVariableType::Kind::Group)
        for (const auto& part : type.Parts())
            AppendEntries(name + "_" + part.name, part.type, entries);
}

SVVariableNames::Entries SVVariableNames::EntriesOf(
    const std::string& name, const SVVariableType& type, Values values)
{
    Entries entries;
    if (!type.IsPlain())
        entries.emplace_back("SeqInfo_" + name, Base::Description);
    if (values == Values::One || type.GetKind() == SVVariableType::Kind::Series) {
        AppendEntries(name, type, entries);
        return entries;
    }
    // All parts stand behind the number of a step.
    entries.emplace_back(name, Base::Value);
    entries.emplace_back("SeqInfo_" + name + "_TimeValues", Base::Value);
    return entries;
}

std::string SVVariableNames::Fault(const std::string& name, const SVVariableType& type, Values values) const
{
    if (std::string fault = faultOfText(name); !fault.empty())
        return fault;
    for (const char* reserved : {"Seq_", "SeqInfo_", "SeqSeriesInfo_"})
        if (startsWith(name, reserved))
            return "The name \"" + name + "\" begins with \"" + reserved + "\", as announcements do.";
    if (std::string fault = FaultOfGroups(type); !fault.empty())
        return fault;
    if (longestValueEntry(type, name.size()) > kLongestName
        || longestDescriptionEntry(type, kDescription + name.size()) > kLongestName)
        return "The name \"" + name + "\" is too long: that of one of its entries would exceed "
            + std::to_string(kLongestName) + " bytes.";
    for (const auto& [entry, base] : EntriesOf(name, type, values))
        if (std::string fault = Collision(entry, base); !fault.empty())
            return fault;
    return {};
}

void SVVariableNames::Add(const std::string& name, const SVVariableType& type, Values values)
{
    for (auto& [entry, base] : EntriesOf(name, type, values))
        taken.insert_or_assign(entry, base);
}

std::string SVVariableNames::FaultOfGroups(const SVVariableType& type)
{
    const bool isTable = type.GetKind() == SVVariableType::Kind::Table; // Its columns are numbered.
    for (const auto& part : type.Parts())
        if (std::string fault = isTable ? std::string() : FaultOfGroups(part.type); !fault.empty())
            return fault;
    return type.GetKind() == SVVariableType::Kind::Group ? FaultOfEntries(type) : std::string();
}

std::string SVVariableNames::FaultOfEntries(const SVVariableType& group)
{
    SVVariableNames names;
    const std::string base = "group";
    names.taken.emplace(base, Base::Value);
    for (const auto& part : group.Parts()) {
        if (std::string fault = faultOfText(part.name); !fault.empty())
            return fault;
        Entries entries;
        AppendEntries(base + "_" + part.name, part.type, entries);
        for (const auto& [entry, kind] : entries)
            if (!names.Collision(entry, kind).empty())
                return "The entry \"" + part.name
                    + "\" of a group would collide with another entry of the data file.";
        for (auto& [entry, kind] : entries)
            names.taken.insert_or_assign(entry, kind);
    }
    return {};
}
