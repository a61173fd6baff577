#include "toolkit/PlotContent.h"

#include "platform/files/FileManager.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <limits>
#include <numeric>
#include <utility>

namespace toolkit {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();
constexpr std::size_t kPieceOfFile = 1 << 20; // Bytes.
constexpr std::int64_t kMostCellsForOne = 1024; // Read at once where one is wanted; else it is read alone.

PlotExtent extentOf(const std::vector<double>& numbers)
{
    PlotExtent extent;
    for (const double number : numbers)
        extent.include(number);
    return extent;
}

// The nearest cell of each place of a raster; -1 outside of the grid.
std::vector<std::int64_t> cellsOf(const PlotRange& range, int places, std::int64_t count)
{
    std::vector<std::int64_t> cells(static_cast<std::size_t>(places), -1);
    const double step = (range.upper - range.lower) / places;
    for (int i = 0; i < places; ++i) {
        const double cell = std::floor(range.lower + (i + 0.5) * step + 0.5);
        if (cell >= 0 && cell < static_cast<double>(count))
            cells[static_cast<std::size_t>(i)] = static_cast<std::int64_t>(cell);
    }
    return cells;
}

PlotExtent extentOfCells(std::int64_t count)
{
    return extentOf({-0.5, static_cast<double>(count) - 0.5});
}

// A field of a CSV line; RFC 4180: quotes in a quoted field are doubled.
std::string quoted(const std::string& text)
{
    if (text.find_first_of(",\"\r\n") == std::string::npos)
        return text;
    std::string result = "\"";
    for (const char c : text)
        result.append(c == '"' ? 2 : 1, c);
    return result + '"';
}

// Gathers text and writes it in large pieces.
class TextFile {
public:
    explicit TextFile(const std::string& path) : file_(std::fopen(path.c_str(), "we"), &std::fclose) { }
    std::back_insert_iterator<fmt::memory_buffer> end() { return std::back_inserter(buffer_); }
    bool writePiece(bool isLast = false)
    {
        if (buffer_.size() < kPieceOfFile && !isLast)
            return true;
        isGood_ =
            isGood_ && file_ && std::fwrite(buffer_.data(), 1, buffer_.size(), file_.get()) == buffer_.size();
        buffer_.clear();
        return isGood_;
    }
    bool finish() { return writePiece(true) && std::fclose(file_.release()) == 0; }

private:
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_;
    fmt::memory_buffer buffer_;
    bool isGood_ = true;
};

// Takes the wanted cells of one row after the other.
class RowReader {
public:
    RowReader(const PlotImage& image, const std::vector<std::int64_t>& columns)
        : image_(image), columns_(columns)
    {
        for (const std::int64_t column : columns) {
            first_ = column >= 0 && first_ < 0 ? column : first_;
            last_ = std::max(last_, column);
        }
    }
    // NaN for a row or a column below 0.
    void append(std::int64_t row, std::vector<double>& result)
    {
        if (row < 0 || last_ < 0) {
            result.insert(result.end(), columns_.size(), kNoNumber);
        } else if (!image_.isInFile()) {
            for (const std::int64_t column : columns_)
                result.push_back(column < 0 ? kNoNumber : image_.value(column, row));
        } else {
            if (row != read_)
                read(row);
            for (const std::int64_t column : columns_)
                result.push_back(column < 0 ? kNoNumber : cells_[static_cast<std::size_t>(column - first_)]);
        }
    }

private:
    void read(std::int64_t row)
    {
        read_ = row;
        const std::int64_t count = last_ - first_ + 1;
        cells_.resize(static_cast<std::size_t>(count));
        const auto cells = std::span(cells_);
        if (count < kMostCellsForOne * static_cast<std::int64_t>(columns_.size()))
            return image_.readRow(row, first_, cells);
        for (const std::int64_t column : columns_)
            if (column >= 0)
                image_.readRow(row, column, cells.subspan(static_cast<std::size_t>(column - first_), 1));
    }

    const PlotImage& image_;
    const std::vector<std::int64_t>& columns_; // They rise.
    std::int64_t first_ = -1;
    std::int64_t last_ = -1;
    std::int64_t read_ = -1; // The row that cells_ are of.
    std::vector<double> cells_;
};

bool writeCurve(TextFile& file, const PlotCurve& curve)
{
    const std::string name = quoted(curve.name);
    for (std::size_t i = 0; i < curve.x->size(); ++i) {
        fmt::format_to(
            file.end(), "{},{},{}\n", name, (*curve.x)[i], exactText((*curve.y)[i], curve.isSinglePrecision));
        if (!file.writePiece())
            return false;
    }
    return true;
}

bool writeImage(TextFile& file, const PlotImage& image)
{
    std::vector<std::int64_t> columns(static_cast<std::size_t>(image.width));
    std::iota(columns.begin(), columns.end(), 0);
    RowReader reader(image, columns);
    std::vector<double> cells;
    for (std::int64_t row = 0; row < image.height; ++row) {
        cells.clear();
        reader.append(row, cells);
        for (std::size_t column = 0; column < cells.size(); ++column)
            fmt::format_to(
                file.end(), "{}{}", column > 0 ? "," : "", exactText(cells[column], image.isSinglePrecision));
        fmt::format_to(file.end(), "\n");
        if (!file.writePiece())
            return false;
    }
    return true;
}

} // namespace

std::string exactText(double number, bool isSinglePrecision)
{
    return isSinglePrecision ? fmt::format("{}", static_cast<float>(number)) : fmt::format("{}", number);
}

PlotRange PlotRange::none()
{
    return {kInfinity, -kInfinity};
}

void PlotRange::include(double number)
{
    if (!std::isfinite(number))
        return;
    lower = std::min(lower, number);
    upper = std::max(upper, number);
}

void PlotExtent::include(double number)
{
    all.include(number);
    if (number > 0)
        positive.include(number);
}

void PlotExtent::include(const PlotExtent& other)
{
    for (const double end : {other.all.lower, other.all.upper, other.positive.lower, other.positive.upper})
        include(end);
}

PlotCurve PlotCurve::create(
    std::string name, Kind kind, std::vector<double> xNumbers, std::vector<double> yNumbers)
{
    const std::size_t count = std::min(xNumbers.size(), yNumbers.size());
    xNumbers.resize(count);
    yNumbers.resize(count);
    if (kind == Kind::Line && !std::is_sorted(xNumbers.begin(), xNumbers.end()))
        kind = Kind::Path;
    PlotCurve curve{std::move(name), kind, std::make_shared<const std::vector<double>>(std::move(xNumbers)),
        std::make_shared<const std::vector<double>>(std::move(yNumbers))};
    curve.xExtent = extentOf(*curve.x);
    curve.yExtent = extentOf(*curve.y);
    return curve;
}

PlotCurve PlotCurve::overIndex(std::string name, std::vector<double> yNumbers)
{
    std::vector<double> indices(yNumbers.size());
    for (std::size_t i = 0; i < indices.size(); ++i)
        indices[i] = static_cast<double>(i);
    return create(std::move(name), Kind::Line, std::move(indices), std::move(yNumbers));
}

std::optional<double> PlotImage::valueAt(double x, double y) const
{
    const bool isInside = x >= -0.5 && y >= -0.5 && x < static_cast<double>(width) - 0.5
        && y < static_cast<double>(height) - 0.5;
    if (!isInside)
        return std::nullopt;
    return value(
        static_cast<std::int64_t>(std::floor(x + 0.5)), static_cast<std::int64_t>(std::floor(y + 0.5)));
}

std::vector<double> PlotImage::raster(const PlotRange& x, const PlotRange& y, int columns, int rows) const
{
    std::vector<double> result;
    if (columns <= 0 || rows <= 0)
        return result;
    const auto columnCells = cellsOf(x, columns, width);
    const auto rowCells = cellsOf(y, rows, height);
    result.reserve(columnCells.size() * rowCells.size());
    RowReader reader(*this, columnCells);
    for (const std::int64_t row : rowCells)
        reader.append(row, result);
    return result;
}

PlotImage PlotImage::thinnedTo(std::int64_t mostColumns, std::int64_t mostRows) const
{
    PlotImage thin;
    thin.width = std::min(width, mostColumns);
    thin.height = std::min(height, mostRows);
    thin.isSinglePrecision = isSinglePrecision;
    const auto wide = extentOfCells(width).all;
    const auto high = extentOfCells(height).all;
    auto cells = std::make_shared<const std::vector<double>>(
        raster(wide, high, static_cast<int>(thin.width), static_cast<int>(thin.height)));
    for (const double cell : *cells)
        thin.values.include(cell);
    thin.value = [cells, columns = thin.width](std::int64_t column, std::int64_t row) {
        return (*cells)[static_cast<std::size_t>(row * columns + column)];
    };
    return thin;
}

bool PlotImage::isThinnedEnoughFor(const PlotRange& x, const PlotRange& y, int columns, int rows) const
{
    const auto isEnough = [](std::int64_t all, std::int64_t kept, const PlotRange& seen, int pixels) {
        const double keptAndSeen =
            (seen.upper - seen.lower) * static_cast<double>(kept) / static_cast<double>(all);
        return kept == all || keptAndSeen >= pixels;
    };
    return thinned && isEnough(width, thinned->width, x, columns)
        && isEnough(height, thinned->height, y, rows);
}

PlotExtent PlotContent::xExtent() const
{
    PlotExtent extent;
    for (const PlotCurve& curve : curves)
        extent.include(curve.xExtent);
    if (image)
        extent.include(extentOfCells(image->width));
    return extent;
}

PlotExtent PlotContent::yExtent() const
{
    PlotExtent extent;
    for (const PlotCurve& curve : curves)
        extent.include(curve.yExtent);
    if (image)
        extent.include(extentOfCells(image->height));
    return extent;
}

platform::Status PlotContent::saveAsCsv(const std::string& path) const
{
    const std::string partial = path + ".part"; // A half-written file never has the name of a whole one.
    TextFile file(partial);
    bool isGood = true;
    if (image) {
        isGood = writeImage(file, *image);
    } else {
        fmt::format_to(file.end(), "curve,x,y\n");
        for (const PlotCurve& curve : curves)
            isGood = isGood && writeCurve(file, curve);
    }
    if (isGood && file.finish() && std::rename(partial.c_str(), path.c_str()) == 0)
        return {};
    std::ignore = platform::files::remove(partial);
    return platform::Error{fmt::format("{} can't be written.", path)};
}

} // namespace toolkit
