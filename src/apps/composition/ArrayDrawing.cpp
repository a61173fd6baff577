#include "apps/composition/ArrayDrawing.h"

#include "storage/StoredArray.h"
#include "storage/values/KRAnyArray.h"

#include <algorithm>
#include <utility>

using toolkit::PlotCurve;
using toolkit::PlotImage;

namespace drawing {

namespace {

constexpr std::int64_t kSmallArray = 1 << 20; // Elements.
constexpr std::int64_t kLargestInMemory = 1 << 22; // Elements of a field; a larger one stays in its file.
constexpr std::int64_t kThinnedColumns = 2048; // As wide as screens are; cells of a row cost little.
constexpr std::int64_t kThinnedRows = 512;

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
PlotImage imageOf(const KRAnyArray& array, std::int64_t slice)
{
    const std::int64_t width = array.m();
    const std::int64_t first = slice * width * array.n();
    PlotImage image;
    image.width = width;
    image.height = array.n();
    image.isSinglePrecision = array.type() == ElementType::Float;
    withElements(array, [&](const auto* elements) {
        for (std::int64_t i = first; i < first + width * image.height; ++i)
            image.values.include(static_cast<double>(elements[i]));
        image.value = [array, elements, first, width](std::int64_t column, std::int64_t row) {
            return static_cast<double>(elements[first + row * width + column]);
        };
    });
    return image;
}

// The same of an array that stays in its file: the image keeps the file open.
PlotImage imageOf(const std::shared_ptr<const StoredArray>& array, std::int64_t slice)
{
    const std::int64_t width = array->size().m;
    const std::int64_t height = array->size().n;
    const std::int64_t first = slice * width * height;
    PlotImage image;
    image.width = width;
    image.height = height;
    image.isSinglePrecision = array->type() == ElementType::Float;
    image.readRow = [array, first, width](std::int64_t row, std::int64_t column, std::span<double> cells) {
        array->read(static_cast<std::uint64_t>(first + row * width + column), cells);
    };
    if (width * height <= kLargestInMemory) // A slice of a large array.
        return image.thinnedTo(width, height);
    image.value = [read = image.readRow](std::int64_t column, std::int64_t row) {
        double cell = 0;
        read(row, column, {&cell, 1});
        return cell;
    };
    image.thinned = std::make_shared<const PlotImage>(image.thinnedTo(kThinnedColumns, kThinnedRows));
    image.values = image.thinned->values;
    return image;
}

// What is drawn of an array without a meaning of its own: by its dimensions.
template <class Array>
void showField(const Array& array, const KRDataStorage::Size& size, const PlottedValue::Choice& choice,
    PlottedValue& value)
{
    value.slices = size.o > 1 ? static_cast<std::size_t>(size.o) : 0;
    value.slice = value.slices > 0 ? std::min(choice.slice, value.slices - 1) : 0;
    value.content.xTitle = "First index";
    value.content.yTitle = "Second index";
    value.content.image = imageOf(array, static_cast<std::int64_t>(value.slice));
}

bool isRow(const KRDataStorage::Size& size)
{
    return (size.m > 1) + (size.n > 1) + (size.o > 1) <= 1;
}

void showNumbers(const KRAnyArray& array, const PlottedValue::Choice& choice, PlottedValue& value)
{
    const KRDataStorage::Size size{static_cast<std::uint32_t>(array.m()),
        static_cast<std::uint32_t>(array.n()), static_cast<std::uint32_t>(array.o())};
    if (!isRow(size))
        return showField(array, size, choice, value);
    value.content.xTitle = "Index";
    value.content.curves.push_back(PlotCurve::overIndex("", numbersOf(array, 0, 1)));
    value.content.curves.back().isSinglePrecision = array.type() == ElementType::Float;
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
    value.content.curves.back().isInPlane = true;
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
    value.content.curves.back().isInPlane = true;
}

struct Drawing {
    std::string_view type;
    void (*show)(const KRAnyArray& array, const PlottedValue::Choice& choice, PlottedValue& value);
};
constexpr Drawing kDrawings[] = {
    {"Array", showNumbers},
    {"NumberList", showNumbers},
    {"Bitmap2D", showNumbers},
    {"Point2D", showPairs<PlotCurve::Kind::Points>},
    {"PointCollection2D", showPairs<PlotCurve::Kind::Points>},
    {"Path2D", showPairs<PlotCurve::Kind::Path>},
    {"Region2D", showRegion},
};

const Drawing* drawingOf(std::string_view type)
{
    const auto* found = std::find_if(std::begin(kDrawings), std::end(kDrawings),
        [type](const Drawing& known) { return known.type == type; });
    return found != std::end(kDrawings) ? found : nullptr;
}

std::int64_t countOf(const KRDataStorage::Size& size)
{
    const double count = static_cast<double>(size.m) * size.n * size.o; // May be more than an int64 holds.
    return static_cast<std::int64_t>(std::min(count, 1e18));
}

// A large value is read through an object of its own, so that the main thread never waits for the file's
// lock.
KRAnyArray readArray(const KRDataFile::Pointer& file, const std::string& place)
{
    const auto end = file->resolveNameAllowingRedirection(place);
    const auto size = end ? file->getSizeOfVariable(*end) : std::nullopt;
    if (!size)
        return {};
    const auto own =
        countOf(*size) <= kSmallArray ? nullptr : KRDataFile::createFromStructure(file->structure());
    return (own ? own : file)->readNativeArray(*end);
}

// A field that is too large to be read as a whole; null for anything else.
std::shared_ptr<const StoredArray> largeField(const KRDataFile::Pointer& file, const std::string& place)
{
    const auto end = file->resolveNameAllowingRedirection(place);
    const auto size = end ? file->getSizeOfVariable(*end) : std::nullopt;
    const bool isLarge = size && countOf(*size) > kLargestInMemory && !isRow(*size);
    return isLarge ? file->openArray(*end) : nullptr;
}

} // namespace

bool isOneArray(std::string_view type)
{
    return drawingOf(type);
}

void showArray(const KRDataFile::Pointer& file, std::string_view type, const std::string& place,
    const std::optional<toolkit::PlotRange>& range, const PlottedValue::Choice& choice, PlottedValue& value)
{
    const Drawing* drawing = drawingOf(type);
    if (!drawing)
        return;
    if (const auto large = drawing->show == showNumbers ? largeField(file, place) : nullptr) {
        showField(large, large->size(), choice, value);
        if (range) {
            value.content.image->values.include(range->lower);
            value.content.image->values.include(range->upper);
        }
        return;
    }
    const KRAnyArray array = readArray(file, place);
    if (array && array.length() > 0)
        drawing->show(array, choice, value);
}

std::vector<double> numbersAt(const KRDataFile::Pointer& file, const std::string& place)
{
    const KRAnyArray array = readArray(file, place);
    return array ? numbersOf(array, 0, 1) : std::vector<double>();
}

} // namespace drawing
