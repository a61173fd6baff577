#pragma once

#include "toolkit/Plot.h"
#include "toolkit/View.h"

#include <cstdint>
#include <string>
#include <vector>

namespace toolkit {

// The numbers that a plot shows, as a table. Of curves: a column for each, behind the places that it is drawn
// over; curves over the same places share that column, those that end earlier as well. Of an image: a row for
// each first index and a column for each second one. A cell is asked for when it is seen, so that a large
// field costs nothing more.
class PlotValues : public View {
public:
    explicit PlotValues(Plot& plot); // May end before this.

    std::int64_t rows() const;
    std::int64_t columns() const;
    // What stands over a column; for rows the index, which counts from 0.
    std::string columnTitle(std::int64_t column) const;
    // The number in its shortest exact form; empty beyond the end of a column and outside of the table.
    std::string text(std::int64_t row, std::int64_t column) const;

private:
    struct Column {
        std::string title;
        Numbers numbers;
        bool isSinglePrecision;
    };
    void takeContent();

    std::shared_ptr<const PlotContent> content_;
    std::vector<Column> curves_;
    std::int64_t longest_ = 0;
    Model::Observation observation_;
};

} // namespace toolkit
