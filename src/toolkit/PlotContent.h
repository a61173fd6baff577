#pragma once

#include "platform/Result.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace toolkit {

// Numbers that are shared by who read them and who draws them.
using Numbers = std::shared_ptr<const std::vector<double>>;

// A stretch of an axis.
struct PlotRange {
    double lower = 0;
    double upper = 0;
    // Takes in a number that is finite.
    void include(double number);
    bool isEmpty() const { return !(lower <= upper); }
    static PlotRange none(); // An empty one, which include() makes grow.
    bool operator==(const PlotRange&) const = default;
};

// What a curve or an image covers; the positive part is what a logarithmic axis can show.
struct PlotExtent {
    PlotRange all = PlotRange::none();
    PlotRange positive = PlotRange::none();
    void include(double number);
    void include(const PlotExtent& other);
};

// Numbers over numbers. Made by create(), on any thread; immutable.
struct PlotCurve {
    enum class Kind {
        Line, // x never falls.
        Path, // Through the points in their order.
        Region, // The same, closed.
        Points,
    };
    std::string name;
    Kind kind = Kind::Line;
    Numbers x;
    Numbers y; // As many as x.
    PlotExtent xExtent{};
    PlotExtent yExtent{};
    bool isSinglePrecision = false; // The numbers of y.
    bool isInPlane = false; // x and y are lengths of the same unit.

    // The longer one of the two lists is cut. A line whose x falls somewhere becomes a path.
    static PlotCurve create(
        std::string name, Kind kind, std::vector<double> xNumbers, std::vector<double> yNumbers);
    // Numbers over their indices, from 0.
    static PlotCurve overIndex(std::string name, std::vector<double> yNumbers);
};

// A field over a grid of cells, of which a front end draws as many as its screen has pixels. The center of
// the cell (column, row) is at (column, row), and row 0 is the lowest.
//
// A large field stays in its file: a raster of it is read on a worker, and a thinned copy is drawn until
// then.
struct PlotImage {
    std::int64_t width = 0; // At least 1, as is the height.
    std::int64_t height = 0;
    PlotRange values = PlotRange::none(); // Of the finite ones; of a thinned copy where there is one.
    // Inside of the grid; any thread.
    std::function<double(std::int64_t column, std::int64_t row)> value;
    bool isSinglePrecision = false;
    // Of a field that stays in its file: cells of a row from a column on. What can't be read is NaN. Takes as
    // long as the file does; any thread. Null for a field in memory.
    std::function<void(std::int64_t row, std::int64_t column, std::span<double> cells)> readRow{};
    std::shared_ptr<const PlotImage> thinned{}; // With readRow: some of the cells, over the same plane.

    bool isInFile() const { return readRow != nullptr; }
    // A copy in memory, of cells in equal distances; whole where the field has less of them.
    PlotImage thinnedTo(std::int64_t mostColumns, std::int64_t mostRows) const;
    // Whether a raster of this part needs nothing but the cells of the thinned copy.
    bool isThinnedEnoughFor(const PlotRange& x, const PlotRange& y, int columns, int rows) const;

    // The value of the cell at a place; nothing outside of the grid. One cell is read of a file.
    std::optional<double> valueAt(double x, double y) const;
    // The cells nearest to the centers of a raster over a part of the plane, row by row from the lowest; NaN
    // outside of the grid. In memory it takes as long as the raster is large, whatever the size of the field.
    std::vector<double> raster(const PlotRange& x, const PlotRange& y, int columns, int rows) const;
};

// The number in its shortest exact form.
std::string exactText(double number, bool isSinglePrecision);

// All that a plot shows at a time. Immutable once it is shown, so that it can be saved on a worker.
struct PlotContent {
    std::string title;
    std::string xTitle;
    std::string yTitle;
    std::string note{}; // What is shown where there is nothing to draw.
    std::vector<PlotCurve> curves{};
    std::optional<PlotImage> image{};

    bool isEmpty() const { return curves.empty() && !image; }
    PlotExtent xExtent() const;
    PlotExtent yExtent() const;
    // One line for each point, with the name of its curve, its x and its y; of an image one line for each
    // row. Numbers in their shortest exact form. An existing file is replaced.
    platform::Status saveAsCsv(const std::string& path) const;
};

} // namespace toolkit
