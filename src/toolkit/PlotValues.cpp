#include "toolkit/PlotValues.h"

#include <algorithm>

namespace toolkit {

namespace {

// Whether one list starts as the other one goes on.
bool startsAs(const std::vector<double>& one, const std::vector<double>& other)
{
    return std::equal(one.begin(),
        one.begin() + static_cast<std::ptrdiff_t>(std::min(one.size(), other.size())), other.begin());
}

} // namespace

PlotValues::PlotValues(Plot& plot) : content_(plot.content())
{
    observation_ = plot.observe([this, &plot](const Change&) {
        if (content_ == plot.content())
            return;
        content_ = plot.content();
        takeContent();
    });
    takeContent();
}

void PlotValues::takeContent()
{
    curves_.clear();
    longest_ = 0;
    std::size_t places = 0; // The column of the last ones.
    for (const PlotCurve& curve : content_->curves) {
        if (curves_.empty() || !startsAs(*curves_[places].numbers, *curve.x)) {
            places = curves_.size();
            curves_.push_back({content_->xTitle, curve.x, false});
        } else if (curve.x->size() > curves_[places].numbers->size()) {
            curves_[places].numbers = curve.x;
        }
        curves_.push_back(
            {curve.name.empty() ? content_->title : curve.name, curve.y, curve.isSinglePrecision});
        longest_ = std::max(longest_, static_cast<std::int64_t>(curve.x->size()));
    }
    changed({.rows = true, .data = true, .structure = true});
}

std::int64_t PlotValues::rows() const
{
    return content_->image ? content_->image->width : longest_;
}

std::int64_t PlotValues::columns() const
{
    return content_->image ? content_->image->height : static_cast<std::int64_t>(curves_.size());
}

std::string PlotValues::columnTitle(std::int64_t column) const
{
    if (column < 0 || column >= columns())
        return {};
    return content_->image ? std::to_string(column) : curves_[static_cast<std::size_t>(column)].title;
}

std::string PlotValues::text(std::int64_t row, std::int64_t column) const
{
    if (row < 0 || column < 0 || row >= rows() || column >= columns())
        return {};
    if (content_->image)
        return exactText(content_->image->value(row, column), content_->image->isSinglePrecision);
    const Column& shown = curves_[static_cast<std::size_t>(column)];
    const auto index = static_cast<std::size_t>(row);
    return index < shown.numbers->size() ? exactText((*shown.numbers)[index], shown.isSinglePrecision) : "";
}

} // namespace toolkit
