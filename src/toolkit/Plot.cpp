#include "toolkit/Plot.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace toolkit {

namespace {

constexpr double kSecondsBetweenPositions = 0.1;
constexpr double kDecadesWithoutNumbers = 1; // Seen of a logarithmic axis without positive numbers.
constexpr double kMargin = 0.5; // On either side of a single number.
constexpr double kMarginOfCurves = 0.04; // On either side, as a share of all.
constexpr double kLeastWidth = 1e-12; // Of what is seen, beside the size of its numbers.
constexpr double kMostScaled = 1e300;
constexpr double kLeastPixels = 12; // A change of the room, about as wide as a digit.
constexpr double kMostWidening = 8; // Beyond, what is drawn would be a thin line.

bool isUsable(const PlotRange& range)
{
    const double size = std::max(std::abs(range.lower), std::abs(range.upper));
    return std::isfinite(size) && size < kMostScaled && range.upper - range.lower > size * kLeastWidth;
}

// Whether both axes have lengths of the same unit.
bool isInPlane(const PlotContent& content)
{
    return content.image
        || (!content.curves.empty()
            && std::all_of(content.curves.begin(), content.curves.end(),
                [](const PlotCurve& curve) { return curve.isInPlane; }));
}

// A line's point nearest to x; of other curves the one nearest to (x, y) by the distances given as ratios.
std::size_t nearestPoint(
    const PlotCurve& curve, const PlotAxis& xAxis, const PlotAxis& yAxis, double xRatio, double yRatio)
{
    const auto& x = *curve.x;
    const double place = xAxis.at(xRatio);
    if (curve.kind == PlotCurve::Kind::Line) {
        const auto above = std::lower_bound(x.begin(), x.end(), place);
        const bool takesBelow =
            above == x.end() || (above != x.begin() && place - *(above - 1) < *above - place);
        return static_cast<std::size_t>(above - x.begin()) - (takesBelow ? 1 : 0);
    }
    const double width = xAxis.range().upper - xAxis.range().lower;
    const double height = yAxis.range().upper - yAxis.range().lower;
    const double yPlace = yAxis.at(yRatio);
    std::size_t nearest = 0;
    double least = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < x.size(); ++i) {
        const double distance = std::hypot((x[i] - place) / width, ((*curve.y)[i] - yPlace) / height);
        if (distance < least) {
            least = distance;
            nearest = i;
        }
    }
    return nearest;
}

} // namespace

double PlotAxis::scaled(double number) const
{
    return isLogarithmic_ ? std::log10(number) : number;
}

double PlotAxis::unscaled(double number) const
{
    return isLogarithmic_ ? std::pow(10, number) : number;
}

PlotRange PlotAxis::whole() const
{
    const PlotRange& all = isLogarithmic_ ? extent_.positive : extent_.all;
    if (all.isEmpty())
        return isLogarithmic_ ? PlotRange{1, std::pow(10, kDecadesWithoutNumbers)} : PlotRange{0, 1};
    if (isUsable(all)) {
        const double margin = margin_ * (scaled(all.upper) - scaled(all.lower));
        return {unscaled(scaled(all.lower) - margin), unscaled(scaled(all.upper) + margin)};
    }
    const double margin = isLogarithmic_ ? kMargin : kMargin * std::max(1.0, std::abs(all.lower));
    return {unscaled(scaled(all.lower) - margin), unscaled(scaled(all.upper) + margin)};
}

PlotRange PlotAxis::range() const
{
    const PlotRange wanted = zoomed_.value_or(whole());
    if (widening_ == 1)
        return wanted;
    const double more = (wanted.upper - wanted.lower) * (widening_ - 1) / 2;
    return {wanted.lower - more, wanted.upper + more};
}

double PlotAxis::at(double ratio) const
{
    const PlotRange seen = range();
    return unscaled(scaled(seen.lower) + ratio * (scaled(seen.upper) - scaled(seen.lower)));
}

void PlotAxis::show(double lowerRatio, double upperRatio)
{
    const PlotRange wanted{at(lowerRatio), at(upperRatio)};
    if (isUsable(wanted) && (!isLogarithmic_ || wanted.lower > 0))
        zoomed_ = wanted;
}

std::string Plot::Slider::text() const
{
    if (count() == 0)
        return title;
    if (position < names.size())
        return names[position];
    return fmt::format("{} {:g} ({} of {})", title, (*values)[position], position + 1, count());
}

void Plot::setContent(std::shared_ptr<const PlotContent> content)
{
    if (!content)
        content = std::make_shared<PlotContent>();
    const bool isOther = content->title != content_->title || content->xTitle != content_->xTitle;
    content_ = std::move(content);
    contentIsToFollow_ = false;
    // Lines and marks at the ends of an axis would be cut. Lines go from one end of the x axis to the other.
    axisTo(Direction::X).margin_ = isInPlane(*content_) && !content_->image ? kMarginOfCurves : 0;
    axisTo(Direction::Y).margin_ = content_->image ? 0 : kMarginOfCurves;
    axisTo(Direction::X).extent_ = content_->xExtent();
    axisTo(Direction::Y).extent_ = content_->yExtent();
    for (PlotAxis& axis : axes_) {
        if (isOther || content_->isEmpty())
            axis.zoomed_.reset();
        if (content_->image && std::exchange(axis.isLogarithmic_, false))
            axis.zoomed_.reset();
    }
    fit();
    changed({.data = true});
}

void Plot::setSliders(std::vector<Slider> sliders)
{
    for (Slider& slider : sliders)
        slider.position = std::min(slider.position, std::max<std::size_t>(slider.count(), 1) - 1);
    sliders_ = std::move(sliders);
    if (!movingSlider())
        playing_.reset();
    changed({.structure = true});
}

const Plot::Slider* Plot::movingSlider() const
{
    const auto found = std::find_if(sliders_.begin(), sliders_.end(),
        [](const Slider& slider) { return slider.count() > 1 && slider.names.empty(); });
    return found != sliders_.end() ? &*found : nullptr;
}

void Plot::zoom(double factor, double xRatio, double yRatio)
{
    if (!(factor > 0))
        return;
    const auto around = [factor](double ratio) {
        return PlotRange{ratio - ratio / factor, ratio + (1 - ratio) / factor};
    };
    zoomTo(around(xRatio), around(yRatio));
}

void Plot::zoomTo(PlotRange xRatios, PlotRange yRatios)
{
    axisTo(Direction::X).show(xRatios.lower, xRatios.upper);
    axisTo(Direction::Y).show(yRatios.lower, yRatios.upper);
    fit();
    changed({.value = true});
}

void Plot::pan(double xRatio, double yRatio)
{
    zoomTo({xRatio, 1 + xRatio}, {yRatio, 1 + yRatio});
}

void Plot::showAll()
{
    for (PlotAxis& axis : axes_)
        axis.zoomed_.reset();
    fit();
    changed({.value = true});
}

void Plot::setLogarithmic(Direction direction, bool isLogarithmic)
{
    PlotAxis& axis = axisTo(direction);
    if (content_->image || axis.isLogarithmic_ == isLogarithmic)
        return;
    axis.isLogarithmic_ = isLogarithmic;
    axis.zoomed_.reset();
    fit();
    changed({.value = true});
}

void Plot::setKeepsProportions(bool keeps)
{
    keepsProportions_ = keeps;
    fit();
    changed({.value = true});
}

void Plot::setRoom(double width, double height)
{
    if (std::abs(width - width_) < kLeastPixels && std::abs(height - height_) < kLeastPixels)
        return;
    width_ = width;
    height_ = height;
    fit();
    changed({.value = true});
}

// Widens what is seen on the axis that has the larger scale.
void Plot::fit()
{
    for (PlotAxis& axis : axes_)
        axis.widening_ = 1;
    const bool isLogarithmic = axes_[0].isLogarithmic() || axes_[1].isLogarithmic();
    if (!keepsProportions_ || !isInPlane(*content_) || isLogarithmic || !(width_ > 0 && height_ > 0))
        return;
    const auto perPixel = [](const PlotAxis& axis, double pixels) {
        return (axis.range().upper - axis.range().lower) / pixels;
    };
    const double ratio = perPixel(axes_[0], width_) / perPixel(axes_[1], height_);
    if (ratio > kMostWidening || ratio < 1 / kMostWidening)
        return;
    axes_[ratio < 1 ? 0 : 1].widening_ = ratio < 1 ? 1 / ratio : ratio;
}

void Plot::choosePosition(std::size_t slider, std::size_t position)
{
    if (slider >= sliders_.size() || position >= sliders_[slider].count()
        || sliders_[slider].position == position)
        return;
    sliders_[slider].position = position;
    contentIsToFollow_ = true;
    changed({.structure = true});
    if (whenPositionChosen)
        whenPositionChosen();
}

void Plot::play()
{
    if (isPlaying() || !movingSlider())
        return;
    playing_ = platform::Timer::schedule(
        kSecondsBetweenPositions, platform::Timer::Repeats::Yes, [this] { moveOn(); });
    changed({.structure = true});
}

void Plot::pause()
{
    if (std::exchange(playing_, nullptr))
        changed({.structure = true});
}

void Plot::moveOn()
{
    const Slider* moving = movingSlider();
    if (!contentIsToFollow_ && moving)
        choosePosition(
            static_cast<std::size_t>(moving - sliders_.data()), (moving->position + 1) % moving->count());
}

std::string Plot::readout(double xRatio, double yRatio) const
{
    if (content_->isEmpty())
        return {};
    if (!content_->image)
        return readoutOfCurves(xRatio, yRatio);
    const double x = axis(Direction::X).at(xRatio);
    const double y = axis(Direction::Y).at(yRatio);
    const auto value = content_->image->valueAt(x, y);
    return value ? fmt::format("({:.0f}, {:.0f}): {:g}", std::floor(x + 0.5), std::floor(y + 0.5), *value)
                 : "";
}

std::string Plot::readoutOfCurves(double xRatio, double yRatio) const
{
    const PlotAxis& xAxis = axis(Direction::X);
    const PlotAxis& yAxis = axis(Direction::Y);
    const double y = yAxis.at(yRatio);
    const PlotCurve* nearest = nullptr;
    std::size_t point = 0;
    double least = std::numeric_limits<double>::infinity();
    for (const PlotCurve& curve : content_->curves) {
        if (curve.x->empty())
            continue;
        const std::size_t candidate = nearestPoint(curve, xAxis, yAxis, xRatio, yRatio);
        const double distance = std::abs((*curve.y)[candidate] - y);
        if (nearest && !(distance < least))
            continue;
        nearest = &curve;
        point = candidate;
        least = distance;
    }
    if (!nearest)
        return {};
    return fmt::format("{}{}({:g}, {:g})", nearest->name, nearest->name.empty() ? "" : ": ",
        (*nearest->x)[point], (*nearest->y)[point]);
}

} // namespace toolkit
