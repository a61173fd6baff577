#include "apps/composition/PlotReading.h"

#include "storage/values/KRAnyArray.h"
#include "variables/structures/EntryNames.h"
#include "variables/structures/KRVariableStructure.h"

#include <algorithm>
#include <limits>
#include <string_view>
#include <utility>

namespace names = variables::names;
using toolkit::PlotCurve;

namespace {

constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();
constexpr std::int64_t kSmallArray = 1 << 20; // Elements.

// Calls work(elements) with a pointer to the elements in the stored type.
template <class Work>
auto withElements(const KRAnyArray& array, Work work)
{
    return withElementType(array.type(),
        [&]<class T>(std::type_identity<T>) { return work(static_cast<const T*>(array.elements())); });
}

std::vector<double> numbersOf(const KRAnyArray& array, std::int64_t first, std::int64_t step)
{
    std::vector<double> numbers;
    withElements(array, [&](const auto* elements) {
        for (std::int64_t i = first; i < array.length(); i += step)
            numbers.push_back(static_cast<double>(elements[i]));
    });
    return numbers;
}

// A part of an array, which the image keeps. The first index of an array runs fastest.
toolkit::PlotImage imageOf(const KRAnyArray& array, std::int64_t slice)
{
    const std::int64_t width = array.m();
    const std::int64_t first = slice * width * array.n();
    toolkit::PlotImage image;
    image.width = width;
    image.height = array.n();
    withElements(array, [&](const auto* elements) {
        for (std::int64_t i = first; i < first + width * image.height; ++i)
            image.values.include(static_cast<double>(elements[i]));
        image.value = [array, elements, first, width](std::int64_t column, std::int64_t row) {
            return static_cast<double>(elements[first + row * width + column]);
        };
    });
    return image;
}

// What is drawn of an array without a meaning of its own: by its dimensions.
void showArray(const KRAnyArray& array, const PlottedValue::Choice& choice, PlottedValue& value)
{
    const bool isRow = (array.m() > 1) + (array.n() > 1) + (array.o() > 1) <= 1;
    if (isRow) {
        value.content.xTitle = "Index";
        value.content.curves.push_back(PlotCurve::overIndex("", numbersOf(array, 0, 1)));
        return;
    }
    value.slices = array.o() > 1 ? static_cast<std::size_t>(array.o()) : 0;
    value.slice = value.slices > 0 ? std::min(choice.slice, value.slices - 1) : 0;
    value.content.xTitle = "First index";
    value.content.yTitle = "Second index";
    value.content.image = imageOf(array, static_cast<std::int64_t>(value.slice));
}

// Pairs of coordinates, one behind the other or all x before all y.
template <PlotCurve::Kind kind>
void showPairs(const KRAnyArray& array, const PlottedValue::Choice&, PlottedValue& value)
{
    const bool isPairwise = array.m() == 2 || array.length() == 2;
    if (!isPairwise && array.n() != 2)
        return;
    const std::int64_t half = array.length() / 2;
    auto x = numbersOf(array, 0, isPairwise ? 2 : 1);
    auto y = numbersOf(array, isPairwise ? 1 : half, isPairwise ? 2 : 1);
    x.resize(static_cast<std::size_t>(half));
    value.content.xTitle = "x";
    value.content.yTitle = "y";
    value.content.curves.push_back(PlotCurve::create("", kind, std::move(x), std::move(y)));
}

void showRegion(const KRAnyArray& array, const PlottedValue::Choice&, PlottedValue& value)
{
    const auto n = numbersOf(array, 0, 1);
    if (n.size() != 4) // One with more elements is empty or was never found.
        return;
    value.content.xTitle = "x";
    value.content.yTitle = "y";
    value.content.curves.push_back(
        PlotCurve::create("", PlotCurve::Kind::Region, {n[0], n[1], n[1], n[0]}, {n[2], n[2], n[3], n[3]}));
}

// How the values of a type that is stored as one array are drawn.
struct Drawing {
    std::string_view type;
    void (*show)(const KRAnyArray& array, const PlottedValue::Choice& choice, PlottedValue& value);
};
constexpr Drawing kDrawings[] = {
    {"Array", showArray},
    {"NumberList", showArray},
    {"Bitmap2D", showArray},
    {"Point2D", showPairs<PlotCurve::Kind::Points>},
    {"PointCollection2D", showPairs<PlotCurve::Kind::Points>},
    {"Path2D", showPairs<PlotCurve::Kind::Path>},
    {"Region2D", showRegion},
};

// A large value is read through an object of its own, so that the main thread never waits for the file's
// lock.
KRAnyArray readArray(const KRDataFile::Pointer& file, const std::string& place)
{
    const auto end = file->resolveNameAllowingRedirection(place);
    const auto size = end ? file->getSizeOfVariable(*end) : std::nullopt;
    if (!size)
        return {};
    const bool isSmall = static_cast<double>(size->m) * size->n * size->o <= static_cast<double>(kSmallArray);
    const auto own = isSmall ? nullptr : KRDataFile::createFromStructure(file->structure());
    return (own ? own : file)->readNativeArray(*end);
}

double numberAt(KRDataFile& file, const std::string& place)
{
    const auto end = file.resolveNameAllowingRedirection(place);
    const auto number = end ? file.readNumber(*end) : std::nullopt;
    return number ? number->doubleValue() : kNoNumber;
}

void showNumbers(KRDataFile& file, const KRVariableRecord& record, PlottedValue& value)
{
    auto times = record.times().asNumbers();
    std::vector<double> numbers;
    const bool isNumbered = file.contains(names::value(record.name(), 0));
    for (std::size_t k = 0; k < times.size(); ++k)
        numbers.push_back(numberAt(
            file, isNumbered ? names::value(record.name(), static_cast<std::int64_t>(k)) : record.name()));
    if (numbers.size() == 1)
        value.number = numbers.front();
    value.content.xTitle = "Time";
    value.content.curves.push_back(
        PlotCurve::create("", PlotCurve::Kind::Line, std::move(times), std::move(numbers)));
}

// The type of the values: that of a series stands in its structure.
std::string typeOfValues(const KRVariableRecord& record)
{
    const auto& structure = record.structure();
    const bool isSeries = record.type() == "Series" && structure && structure->seriesType();
    return isSeries ? structure->seriesType()->type() : record.type();
}

void showStep(const KRDataFile::Pointer& file, const KRVariableRecord& record,
    const PlottedValue::Choice& choice, PlottedValue& value)
{
    const std::string type = typeOfValues(record);
    const auto* drawing = std::find_if(std::begin(kDrawings), std::end(kDrawings),
        [&type](const Drawing& known) { return known.type == type; });
    if (drawing == std::end(kDrawings))
        return;
    auto times = std::make_shared<const std::vector<double>>(record.times().asNumbers());
    if (times->empty())
        return;
    value.step = std::min(choice.step.value_or(times->size() - 1), times->size() - 1);
    const bool isNumbered = file->contains(names::value(record.name(), 0));
    if (times->size() > 1)
        value.times = std::move(times);
    const KRAnyArray array = readArray(file,
        isNumbered ? names::value(record.name(), static_cast<std::int64_t>(value.step)) : record.name());
    if (array && array.length() > 0)
        drawing->show(array, choice, value);
}

} // namespace

PlottedValue readPlottedValue(const KRDataFile::Pointer& file,
    const std::shared_ptr<const KRVariableRecord>& record, const PlottedValue::Choice& choice)
{
    PlottedValue value;
    if (file && record) {
        value.content.title = record->name();
        if (typeOfValues(*record) == "Real Number")
            showNumbers(*file, *record, value);
        else
            showStep(file, *record, choice, value);
    }
    if (value.content.isEmpty())
        value.content.note = record
            ? "There is nothing to draw of a value of the type " + record->type() + "."
            : "The file has no such variable.";
    return value;
}
