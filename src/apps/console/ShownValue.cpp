#include "apps/console/ShownValue.h"

#include "arrays/containers/KRTimeValues.h"
#include "variables/composites/KRContainerGroup.h"
#include "variables/composites/KRContainerSeries.h"
#include "variables/composites/KRContainerTable.h"
#include "variables/composites/PartValues.h"
#include "variables/structures/EntryNames.h"
#include "variables/values/KRContainerArray.h"
#include "variables/values/KRContainerFileNameValue.h"
#include "variables/values/KRContainerStringList.h"
#include "variables/values/KRPlainValue.h"

#include <fmt/format.h>

#include <string_view>

namespace names = variables::names;

namespace {

using Value = KRContainer::Value;
using Content = ShownValue::Content;

// A value and where it is stored.
struct Stored {
    KRDataFile& file;
    std::string place;
    const KRSharedValue& value;

    template <class Kind>
    const Kind& as() const
    {
        return static_cast<const Kind&>(value);
    }
};

// The numbers as they stand in the file, also where the value counts as empty.
Content storedNumbers(const Stored& stored)
{
    const auto end = stored.file.resolveNameAllowingRedirection(stored.place);
    const KRAnyArray array = end ? stored.file.readNativeArray(*end) : KRAnyArray();
    return array ? Content(ShownValue::Matrix{array}) : Content();
}

ShownValue::Column columnOf(const Value& value)
{
    if (const auto* strings = dynamic_cast<const KRContainerStringList*>(value.get()))
        return strings->strings();
    const auto* numbers = dynamic_cast<const KRContainerArray*>(value.get());
    return numbers ? numbers->numbersArray() : KRAnyArray();
}

Content contentOfTable(const Stored& stored)
{
    const auto& table = stored.as<KRContainerTable>();
    ShownValue::Table content;
    for (const std::string& name : table.tableStructure()->tableNames())
        content.columns.emplace_back(name, columnOf(table.valueNamed(name)));
    return content;
}

Content contentOfGroup(const Stored& stored)
{
    const auto& group = stored.as<KRContainerGroup>();
    const auto& structure = *group.groupStructure();
    ShownValue::Group content;
    for (std::size_t i = 0; i < structure.groupNames().size(); ++i) {
        const std::string& name = structure.groupNames()[i];
        content.entries.push_back({name, structure.groupTypes()[i]->type(), group.descriptionForEntry(name)});
    }
    return content;
}

// By the type of the value. What isn't listed is stored as one small array.
struct ContentRow {
    std::string_view type;
    Content (*read)(const Stored& stored);
};
constexpr ContentRow kContents[] = {
    {"Real Number", [](const Stored& stored) { return Content(stored.as<KRRealNumber>().number()); }},
    {"String", [](const Stored& stored) { return Content(stored.as<KRString>().text()); }},
    {"FileName",
        [](const Stored& stored) {
            return Content(stored.as<KRContainerFileNameValue>().name()->fileName());
        }},
    {"NumberList",
        [](const Stored& stored) {
            return Content(ShownValue::Column(stored.as<KRContainerArray>().numbersArray()));
        }},
    {"StringList",
        [](const Stored& stored) {
            return Content(ShownValue::Column(stored.as<KRContainerStringList>().strings()));
        }},
    {"Group", contentOfGroup},
    {"Table", contentOfTable},
    {"Series",
        [](const Stored& stored) {
            const auto& times = stored.as<KRContainerSeries>().timeValues();
            return Content(
                ShownValue::Series{KRAnyArray(std::const_pointer_cast<KRDoubleArrayContainer>(times))});
        }},
};

Content contentOf(const Stored& stored)
{
    const std::string type = stored.value.typeWord();
    for (const ContentRow& row : kContents)
        if (row.type == type)
            return row.read(stored);
    return storedNumbers(stored);
}

// Nothing for a step or a time before the first.
std::optional<std::int64_t> chosenStep(const TimeList& times, const ShownValue::Choice& choice)
{
    std::int64_t step = times.count() - 1;
    if (choice.step)
        step = *choice.step;
    else if (choice.time)
        step = KRTimeValues::findIndexOfClosestValueBelow(times.asArray(), *choice.time);
    return step >= 0 && step < times.count() ? std::optional(step) : std::nullopt;
}

// By its structure where there is one: a plain type has none.
Value readValue(KRDataFile& file, const std::string& type, const KRVariableStructure::Pointer& structure,
    const std::string& place)
{
    if (structure)
        return variables::storedValue(structure, {file.shared_from_this(), nullptr, {}, place});
    // The reading operation of a number follows no references.
    const auto end = type == "Real Number" ? file.resolveNameAllowingRedirection(place) : place;
    return end ? ReadingOperations::read(type, file, *end) : nullptr;
}

} // namespace

ShownValue ShownValue::read(KRDataFile& file, const KRVariableRecord& record, const Choice& choice)
{
    ShownValue shown{.name = record.name(), .type = record.type(), .count = record.times().count()};
    auto structure = record.structure();
    std::string place = record.name();
    const bool isSeries = shown.type == "Series";
    const bool isWholeSeries = isSeries && !choice.time && !choice.step;
    const auto step = chosenStep(record.times(), choice);
    if (!isWholeSeries) {
        if (!step) {
            shown.description = shown.count == 0 ? "Empty" : "No such value";
            return shown;
        }
        shown.step = *step;
        shown.time = record.times().asArray()->valueAtIndex(static_cast<long>(*step));
        if (file.contains(names::value(place, 0)))
            place = names::value(place, *step);
        if (isSeries && structure && structure->seriesType()) {
            structure = structure->seriesType();
            shown.type = structure->type();
        }
    }
    const Value value = readValue(file, shown.type, structure, place);
    shown.description = !value && !ReadingOperations::forType(shown.type)
        ? fmt::format("Values of the type {} can not be shown", shown.type)
        : variables::descriptionOf(value);
    if (value)
        shown.content = contentOf({file, place, *value});
    return shown;
}
