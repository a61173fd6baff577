#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// The names of the entries that make typed variables of a flat data file (docs/variables.md). V is a
// variable's name, B the base name of a description, k an index in decimal.
namespace variables::names {

inline constexpr std::string_view kAnnouncementPrefix = "Seq_";

inline std::string joined(std::string_view base, std::string_view ending)
{
    std::string name;
    name.reserve(base.size() + ending.size());
    return name.append(base).append(ending);
}
inline std::string numbered(std::string_view base, std::int64_t k)
{
    return joined(base, "_").append(std::to_string(k));
}

// Of a variable.
inline std::string announcement(std::string_view v)
{
    return joined(kAnnouncementPrefix, v);
}
inline std::string description(std::string_view v)
{
    return joined("SeqInfo_", v);
}
inline std::string value(std::string_view v, std::int64_t step)
{
    return numbered(v, step);
}
inline std::string time(std::string_view v)
{
    return joined(v, "_time");
}
inline std::string time(std::string_view v, std::int64_t step)
{
    return numbered(v, step).append("_time");
}
inline std::string allTimes(std::string_view v)
{
    return description(v).append("_TimeValues");
}
inline std::string allTimesOfSeries(std::string_view v)
{
    return joined("SeqSeriesInfo_", v).append("_TimeValues");
}
inline std::string valueRange(std::string_view v)
{
    return description(v).append("_VRange");
}
inline std::string parameterCount(std::string_view v)
{
    return joined(v, "_prmtrs");
}
inline std::string parameter(std::string_view v, std::int64_t k)
{
    return numbered(parameterCount(v), k);
}
inline std::string parameterInfo(std::string_view v, std::int64_t k)
{
    return parameter(v, k).append("_info");
}

// Of a list of strings, and of a column of a table.
inline std::string listStarts(std::string_view v)
{
    return joined(v, "_offs");
}
inline std::string listKind(std::string_view v)
{
    return joined(v, "_T");
}
// Of the parts of a composite value. Columns are counted from 0.
inline std::string part(std::string_view v, std::string_view name)
{
    return joined(v, "_").append(name);
}
inline std::string columnName(std::string_view v, std::int64_t k)
{
    return numbered(v, k).append("N");
}
inline std::string column(std::string_view v, std::int64_t k)
{
    return numbered(v, k).append("V");
}

// Of a description. Its entries are counted from 1.
inline std::string count(std::string_view b)
{
    return joined(b, "_N");
}
inline std::string entryName(std::string_view b, std::int64_t k)
{
    return numbered(b, k).append("N");
}
inline std::string entryType(std::string_view b, std::int64_t k)
{
    return numbered(b, k).append("T");
}
inline std::string olderEntryType(std::string_view b, std::int64_t k)
{
    return numbered(b, k);
}
inline std::string elementType(std::string_view b)
{
    return joined(b, "_type");
}

} // namespace variables::names
