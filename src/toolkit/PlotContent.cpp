#include "toolkit/PlotContent.h"

#include "platform/files/FileManager.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <limits>
#include <utility>

namespace toolkit {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();
constexpr std::size_t kPieceOfFile = 1 << 20; // Bytes.

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

bool writeCurve(TextFile& file, const PlotCurve& curve)
{
    const std::string name = quoted(curve.name);
    for (std::size_t i = 0; i < curve.x->size(); ++i) {
        fmt::format_to(file.end(), "{},{},{}\n", name, (*curve.x)[i], (*curve.y)[i]);
        if (!file.writePiece())
            return false;
    }
    return true;
}

bool writeImage(TextFile& file, const PlotImage& image)
{
    for (std::int64_t row = 0; row < image.height; ++row) {
        for (std::int64_t column = 0; column < image.width; ++column)
            fmt::format_to(file.end(), "{}{}", column > 0 ? "," : "", image.value(column, row));
        fmt::format_to(file.end(), "\n");
        if (!file.writePiece())
            return false;
    }
    return true;
}

} // namespace

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
    const double number = raster({x, x}, {y, y}, 1, 1).front();
    const bool isInside = x >= -0.5 && y >= -0.5 && x < static_cast<double>(width) - 0.5
        && y < static_cast<double>(height) - 0.5;
    return isInside ? std::optional(number) : std::nullopt;
}

std::vector<double> PlotImage::raster(const PlotRange& x, const PlotRange& y, int columns, int rows) const
{
    std::vector<double> result;
    if (columns <= 0 || rows <= 0)
        return result;
    const auto columnCells = cellsOf(x, columns, width);
    const auto rowCells = cellsOf(y, rows, height);
    result.reserve(columnCells.size() * rowCells.size());
    for (const std::int64_t row : rowCells)
        for (const std::int64_t column : columnCells)
            result.push_back(row < 0 || column < 0 ? kNoNumber : value(column, row));
    return result;
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
