#include "task/application/TableSettings.h"

#include "platform/files/Paths.h"
#include "platform/files/Places.h"
#include "platform/plist/PropertyList.h"
#include "toolkit/Table.h"

#include <algorithm>
#include <limits>
#include <tuple>

namespace {

using platform::Value;
using toolkit::TableArrangement;

constexpr double kSecondsUntilSaved = 1; // A column that is being dragged changes with each pixel.

TableSettings* currentSettings = nullptr;

std::string settingsPath()
{
    return platform::paths::appending(platform::Places::library(), "Table Columns.plist");
}

Value asValue(const TableArrangement& arrangement)
{
    Value::Array columns;
    for (const auto& place : arrangement.places)
        columns.emplace_back(Value::Dictionary{
            {"Identifier", place.column}, {"Width", place.width}, {"Hidden", place.isHidden}});
    return Value::Dictionary{{"Columns", std::move(columns)}, {"Sort By", arrangement.sorting.column},
        {"Descending", arrangement.sorting.isDescending}};
}

bool isSet(const Value& dictionary, const char* key)
{
    const Value* found = dictionary.find(key);
    return found && found->boolean().value_or(false);
}

int widthOf(const Value& column)
{
    const Value* width = column.find("Width");
    return static_cast<int>(std::clamp<std::int64_t>(
        width ? width->integer().value_or(0) : 0, 0, std::numeric_limits<int>::max()));
}

TableArrangement arrangementOf(const Value& value)
{
    TableArrangement arrangement;
    const Value* columns = value.find("Columns");
    if (columns && columns->array())
        for (const Value& column : *columns->array())
            if (auto identifier = column.textFor("Identifier"))
                arrangement.places.push_back(
                    {std::move(*identifier), widthOf(column), isSet(column, "Hidden")});
    arrangement.sorting = {value.textFor("Sort By").value_or(""), isSet(value, "Descending")};
    return arrangement;
}

} // namespace

TableSettings::TableSettings()
{
    currentSettings = this;
}

TableSettings::~TableSettings()
{
    save();
    currentSettings = nullptr;
}

TableSettings* TableSettings::current()
{
    return currentSettings;
}

void TableSettings::follow(toolkit::Table& table, const std::string& name)
{
    save();
    if (const auto kept = platform::propertylist::readFile(settingsPath()))
        if (const Value* arrangement = kept->find(name))
            table.setArrangement(arrangementOf(*arrangement));
    table.whenArranged = [&table, name] {
        if (currentSettings)
            currentSettings->note(name, table.arrangement());
    };
}

void TableSettings::note(const std::string& name, const TableArrangement& arrangement)
{
    changed_[name] = arrangement;
    timer_ = platform::Timer::schedule(kSecondsUntilSaved, platform::Timer::Repeats::No, [this] { save(); });
}

// Other tables' settings in the file may have been written by another program meanwhile.
void TableSettings::save()
{
    if (changed_.empty())
        return;
    const auto kept = platform::propertylist::readFile(settingsPath());
    Value::Dictionary all = kept && kept->dictionary() ? *kept->dictionary() : Value::Dictionary();
    for (const auto& [name, arrangement] : changed_)
        all[name] = asValue(arrangement);
    changed_.clear();
    std::ignore = platform::propertylist::writeAtomically(std::move(all), settingsPath());
}
