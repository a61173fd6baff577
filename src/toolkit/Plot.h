#pragma once

#include "platform/loop/MainLoop.h"
#include "toolkit/PlotContent.h"
#include "toolkit/View.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace toolkit {

// An axis of a plot: its part that is seen, and whether it is logarithmic. Ratios tell a place on it: 0 at
// the lower end of the part that is seen, 1 at the upper end.
class PlotAxis {
public:
    bool isLogarithmic() const { return isLogarithmic_; }
    // What is seen. All of the content, unless the user has zoomed; never empty, and positive where the axis
    // is logarithmic.
    PlotRange range() const;
    double at(double ratio) const;

private:
    friend class Plot;
    PlotRange whole() const; // All of the content, with the margin, or a wide one where it has no width.
    double scaled(double number) const; // To where equal distances look equal.
    double unscaled(double number) const;
    void show(double lowerRatio, double upperRatio);

    PlotExtent extent_;
    std::optional<PlotRange> zoomed_;
    double margin_ = 0; // On either side of all, as a share of it.
    double widening_ = 1; // Of what is seen, around its center.
    bool isLogarithmic_ = false;
};

// Curves or an image over two axes, with sliders that choose what is shown: a time step, a slice.
class Plot : public View {
public:
    enum class Direction : std::size_t { X, Y };

    // A choice from `values`, which are what the user reads beside it; or from as many names.
    struct Slider {
        std::string title;
        Numbers values;
        std::size_t position = 0;
        std::vector<std::string> names{};
        std::string text() const; // The title, the value and the place among how many.
        std::size_t count() const { return values ? values->size() : 0; }
    };

    // Never null. The part that is seen stays when the user has zoomed, unless the titles are other ones.
    const std::shared_ptr<const PlotContent>& content() const { return content_; }
    void setContent(std::shared_ptr<const PlotContent> content);
    const PlotAxis& axis(Direction direction) const { return axes_[static_cast<std::size_t>(direction)]; }

    // Those with less than two positions need not be shown. A position beyond the end is moved to the end.
    const std::vector<Slider>& sliders() const { return sliders_; }
    void setSliders(std::vector<Slider> sliders);
    bool isPlaying() const { return playing_ != nullptr; }
    // The first slider with a choice of numbers, which play() moves; null without one.
    const Slider* movingSlider() const;

    std::function<void()> whenPositionChosen; // The content is to follow.

    // The user. Ratios are places on the axes, as above.
    void zoom(double factor, double xRatio = 0.5, double yRatio = 0.5); // Above 1: less is seen.
    void zoomTo(PlotRange xRatios, PlotRange yRatios);
    void pan(double xRatio, double yRatio); // The part that is seen moves by so many of its own widths.
    void showAll();
    void setLogarithmic(Direction direction, bool isLogarithmic); // Images keep linear axes.
    // Whether the same distance on both axes looks the same, for images and for what lies in the plane. A
    // field that is many times as long as wide fills the room all the same.
    bool keepsProportions() const { return keepsProportions_; }
    void setKeepsProportions(bool keeps);
    // The front end: the room between the axes, in pixels. No change for a few of them, since the room
    // follows from the numbers at the axes.
    void setRoom(double width, double height);
    void choosePosition(std::size_t slider, std::size_t position);
    // Moves that slider on and on, from the end to the start; not before the content of a position is
    // there.
    void play();
    void pause();
    // What a pointer reads: the place, and the value of the image or of the curve that is nearest; empty
    // outside of an empty plot.
    std::string readout(double xRatio, double yRatio) const;

private:
    PlotAxis& axisTo(Direction direction) { return axes_[static_cast<std::size_t>(direction)]; }
    void fit();
    void moveOn();
    std::string readoutOfCurves(double xRatio, double yRatio) const;

    std::shared_ptr<const PlotContent> content_ = std::make_shared<PlotContent>();
    std::array<PlotAxis, 2> axes_;
    std::vector<Slider> sliders_;
    bool contentIsToFollow_ = false;
    std::unique_ptr<platform::Timer> playing_;
    bool keepsProportions_ = true;
    double width_ = 0; // The room.
    double height_ = 0;
};

} // namespace toolkit
