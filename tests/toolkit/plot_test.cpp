// What a plot shows of its content, and what the user's actions do to it, without pixels.

#include "platform/files/FileManager.h"
#include "platform/loop/Pace.h"
#include "toolkit/PlotValues.h"

#include <gmock/gmock.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <limits>

using namespace toolkit;
using testing::DoubleNear;
using testing::ElementsAre;
using testing::NanSensitiveDoubleEq;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr auto X = Plot::Direction::X;
constexpr auto Y = Plot::Direction::Y;

std::shared_ptr<const PlotContent> contentOf(std::vector<PlotCurve> curves)
{
    PlotContent content;
    content.curves = std::move(curves);
    return std::make_shared<const PlotContent>(std::move(content));
}

// The value of a cell tells its place.
PlotImage imageOf(std::int64_t width, std::int64_t height)
{
    return {width, height, {0, 1}, [=](std::int64_t column, std::int64_t row) {
                EXPECT_TRUE(column >= 0 && column < width && row >= 0 && row < height);
                return static_cast<double>(100 * row + column);
            }};
}

void expectRange(const PlotAxis& axis, double lower, double upper)
{
    EXPECT_NEAR(axis.range().lower, lower, 1e-9);
    EXPECT_NEAR(axis.range().upper, upper, 1e-9);
}

TEST(PlotContent, CoversTheFiniteNumbersOfAllCurves)
{
    const auto content = contentOf({PlotCurve::overIndex("a", {-2, kNaN, 5, 1}),
        PlotCurve::create("b", PlotCurve::Kind::Path, {7, -1}, {INFINITY, 0.5, 99})});
    EXPECT_EQ(content->xExtent().all, (PlotRange{-1, 7}));
    EXPECT_EQ(content->yExtent().all, (PlotRange{-2, 5})) << "the third number has no x";
    EXPECT_EQ(content->yExtent().positive, (PlotRange{0.5, 5}));
    EXPECT_TRUE(contentOf({})->yExtent().all.isEmpty());
    EXPECT_EQ(PlotCurve::create("", PlotCurve::Kind::Line, {1, 0}, {1, 1}).kind, PlotCurve::Kind::Path);
}

TEST(PlotImage, IsReducedToTheCellsBelowTheCentersOfARaster)
{
    const PlotImage image = imageOf(4, 2);
    EXPECT_THAT(image.raster({-0.5, 3.5}, {-0.5, 1.5}, 2, 2), ElementsAre(1, 3, 101, 103));
    EXPECT_THAT(image.raster({-1.5, 0.5}, {-0.5, 0.5}, 2, 1),
        ElementsAre(NanSensitiveDoubleEq(kNaN), DoubleNear(0, 0)));
    EXPECT_EQ(image.valueAt(3.4, 1.4), 103);
    EXPECT_EQ(image.valueAt(3.6, 1), std::nullopt);
    EXPECT_EQ(image.valueAt(1, -0.6), std::nullopt);
}

TEST(PlotImage, OfAFileIsReadByRowsAndThinnedForADrawing)
{
    PlotImage image = imageOf(6000, 9);
    int reads = 0;
    image.readRow = [&](std::int64_t row, std::int64_t column, std::span<double> cells) {
        ++reads;
        for (double& cell : cells)
            cell = static_cast<double>(10000 * row + column++);
    };
    const PlotRange x{-0.5, 5999.5};
    EXPECT_THAT(image.raster(x, {2.8, 3.2}, 3, 4),
        testing::Each(testing::AllOf(testing::Ge(31000), testing::Le(35000))));
    EXPECT_EQ(reads, 3) << "far cells alone, and each row once";
    EXPECT_THAT(
        image.raster({9.5, 12.5}, {0.5, 2.5}, 3, 2), ElementsAre(10010, 10011, 10012, 20010, 20011, 20012));
    EXPECT_EQ(reads, 5);
    const PlotImage thin = image.thinnedTo(3, 100);
    EXPECT_FALSE(thin.isInFile());
    EXPECT_EQ(thin.height, 9);
    EXPECT_EQ(thin.value(2, 8), 85000);
    EXPECT_EQ(thin.values, (PlotRange{1000, 85000}));
    image.thinned = std::make_shared<const PlotImage>(image.thinnedTo(3000, 9));
    EXPECT_TRUE(image.isThinnedEnoughFor(x, {0, 1}, 3000, 9));
    EXPECT_FALSE(image.isThinnedEnoughFor({0, 3000}, {0, 1}, 3000, 9));
}

TEST(Plot, LooksTheSameInBothDirectionsWhereThatMeansSomething)
{
    Plot plot;
    PlotContent square;
    square.image = imageOf(10, 10);
    plot.setContent(std::make_shared<const PlotContent>(square));
    plot.setRoom(400, 200);
    expectRange(plot.axis(X), -5.5, 14.5);
    expectRange(plot.axis(Y), -0.5, 9.5);
    plot.zoom(2);
    expectRange(plot.axis(X), -0.5, 9.5);
    plot.setRoom(200, 400);
    plot.showAll();
    expectRange(plot.axis(Y), -5.5, 14.5);
    EXPECT_EQ(plot.readout(0.5, 0.999), "") << "beside the field";
    plot.setKeepsProportions(false);
    expectRange(plot.axis(Y), -0.5, 9.5);
    plot.setKeepsProportions(true);
    PlotContent strip;
    strip.image = imageOf(1000, 10);
    plot.setContent(std::make_shared<const PlotContent>(strip));
    expectRange(plot.axis(Y), -0.5, 9.5); // It would be a thin line.
    PlotCurve path = PlotCurve::create("", PlotCurve::Kind::Path, {0, 10}, {0, 10});
    plot.setContent(contentOf({path}));
    expectRange(plot.axis(Y), -0.4, 10.4);
    path.isInPlane = true;
    plot.setContent(contentOf({path}));
    expectRange(plot.axis(Y), -5.8, 15.8);
    plot.setLogarithmic(X, true);
    expectRange(plot.axis(Y), -0.4, 10.4);
}

TEST(PlotValues, AreATableOfWhatIsShown)
{
    auto plot = std::make_unique<Plot>();
    PlotValues values(*plot);
    EXPECT_EQ(values.rows() + values.columns(), 0);
    const auto show = [&](PlotContent content) {
        content.title = "v";
        content.xTitle = "t";
        plot->setContent(std::make_shared<const PlotContent>(std::move(content)));
        platform::MainLoop::main().runPending();
    };
    const auto table = [&] {
        std::string text;
        for (std::int64_t column = 0; column < values.columns(); ++column) {
            text += values.columnTitle(column) + ":";
            for (std::int64_t row = 0; row < values.rows(); ++row)
                text += " " + values.text(row, column);
            text += "\n";
        }
        return text;
    };
    const auto curve = [](const char* name, std::vector<double> x, std::vector<double> y) {
        return PlotCurve::create(name, PlotCurve::Kind::Line, std::move(x), std::move(y));
    };
    PlotCurve third = curve("c", {0, 7}, {0.1F, 2});
    third.isSinglePrecision = true;
    show(*contentOf({curve("a", {0}, {0.1}), curve("", {0, 1}, {1.0 / 3, kNaN}), third}));
    EXPECT_EQ(table(), "t: 0 1\na: 0.1 \nv: 0.3333333333333333 nan\nt: 0 7\nc: 0.1 2\n");
    EXPECT_EQ(values.text(2, 0) + values.text(0, 9) + values.text(-1, 0) + values.columnTitle(5), "");
    PlotContent image;
    image.image = imageOf(2, 3); // The first index is that of the columns there.
    show(image);
    EXPECT_EQ(table(), "0: 0 1\n1: 100 101\n2: 200 201\n");
    plot.reset();
    EXPECT_EQ(values.columns(), 3) << "what was shown last";
}

TEST(Plot, ZoomsAroundAPlaceAndPansUntilAllIsShownAgain)
{
    Plot plot;
    plot.setContent(contentOf({PlotCurve::create("", PlotCurve::Kind::Points, {0, 10}, {1, 3})}));
    plot.zoom(2, 0.25, 0.5);
    expectRange(plot.axis(X), 1.25, 6.25);
    expectRange(plot.axis(Y), 1.46, 2.54); // All of it is 1 to 3, with a margin.
    plot.pan(0.5, -1);
    expectRange(plot.axis(X), 3.75, 8.75);
    expectRange(plot.axis(Y), 0.38, 1.46);
    plot.setContent(contentOf({PlotCurve::create("", PlotCurve::Kind::Points, {0, 20}, {1, 3})}));
    expectRange(plot.axis(X), 3.75, 8.75); // The file has grown; the user goes on looking at the same part.
    plot.showAll();
    expectRange(plot.axis(X), 0, 20);
    for (int i = 0; i < 200; ++i)
        plot.zoom(10);
    EXPECT_LT(plot.axis(X).range().lower, plot.axis(X).range().upper) << "never an empty axis";
    for (int i = 0; i < 2000; ++i)
        plot.zoom(0.1);
    EXPECT_TRUE(std::isfinite(plot.axis(X).range().upper - plot.axis(X).range().lower));
}

TEST(Plot, ALogarithmicAxisShowsThePositivePartAndMovesByFactors)
{
    Plot plot;
    plot.setContent(contentOf({PlotCurve::overIndex("", {-5, 0, 1, 100})}));
    plot.setLogarithmic(Y, true);
    expectRange(plot.axis(Y), std::pow(10, -0.08), std::pow(10, 2.08));
    plot.pan(0, 1 / 2.16);
    expectRange(plot.axis(Y), std::pow(10, 0.92), std::pow(10, 3.08));
    plot.setLogarithmic(Y, false);
    expectRange(plot.axis(Y), -9.2, 104.2);
    plot.setLogarithmic(Y, true);
    PlotContent image;
    image.image = imageOf(3, 4);
    plot.setContent(std::make_shared<const PlotContent>(image));
    EXPECT_FALSE(plot.axis(Y).isLogarithmic());
    expectRange(plot.axis(Y), -0.5, 3.5);
    plot.setLogarithmic(X, true);
    EXPECT_FALSE(plot.axis(X).isLogarithmic());
    plot.setContent(contentOf({PlotCurve::overIndex("", {-5})}));
    plot.setLogarithmic(Y, true);
    EXPECT_GT(plot.axis(Y).range().lower, 0) << "without a positive number";
}

TEST(Plot, PlaysTheFirstSliderWithAChoiceAsFastAsTheContentFollows)
{
    platform::Pace::setFactor(0.01);
    Plot plot;
    const auto numbers = [](std::vector<double> values) {
        return std::make_shared<const std::vector<double>>(std::move(values));
    };
    int chosen = 0;
    plot.whenPositionChosen = [&] { ++chosen; };
    plot.play();
    EXPECT_FALSE(plot.isPlaying()) << "nothing moves";
    plot.setSliders({{"Slice", numbers({0})}, {"Time", numbers({0, 0.5, 1}), 9}});
    EXPECT_EQ(plot.sliders()[1].text(), "Time 1 (3 of 3)");
    plot.play();
    auto& loop = platform::MainLoop::main();
    EXPECT_TRUE(loop.runUntil([&] { return chosen == 1; }, 10));
    EXPECT_EQ(plot.sliders()[1].position, 0U);
    EXPECT_FALSE(loop.runUntil([&] { return chosen > 1; }, 0.1)) << "the content is still to come";
    plot.setContent(contentOf({}));
    EXPECT_TRUE(loop.runUntil([&] { return chosen == 2; }, 10));
    plot.setSliders({});
    EXPECT_FALSE(plot.isPlaying());
    platform::Pace::setFactor(1);
}

TEST(Plot, ReadsTheNearestPointOrTheCell)
{
    Plot plot;
    EXPECT_EQ(plot.readout(0.5, 0.5), "");
    plot.setContent(
        contentOf({PlotCurve::overIndex("low", {0, 1, 0}), PlotCurve::overIndex("high", {8, 9, 10})}));
    EXPECT_EQ(plot.readout(0.45, 0.3), "low: (1, 1)");
    EXPECT_EQ(plot.readout(1.2, 0.8), "high: (2, 10)");
    plot.setContent(contentOf({PlotCurve::create("", PlotCurve::Kind::Path, {0, 4, 4}, {0, 0, 4})}));
    EXPECT_EQ(plot.readout(0.9, 0.2), "(4, 0)");
    PlotContent image;
    image.image = imageOf(10, 10);
    plot.setContent(std::make_shared<const PlotContent>(image));
    EXPECT_EQ(plot.readout(0.95, 0.05), "(9, 0): 9");
    EXPECT_EQ(plot.readout(1.05, 0.05), "");
}

TEST(PlotContent, IsSavedAsCsvWholeOrNotAtAll)
{
    char pattern[] = "/tmp/plotXXXXXX";
    const std::string folder = ::mkdtemp(pattern);
    const std::string path = folder + "/p.csv";
    const auto saved = contentOf({PlotCurve::overIndex("a,\"b\"", {0.1, 1e300})})->saveAsCsv(path);
    EXPECT_TRUE(saved.ok());
    EXPECT_EQ(
        platform::files::readFile(path), "curve,x,y\n\"a,\"\"b\"\"\",0,0.1\n\"a,\"\"b\"\"\",1,1e+300\n");
    PlotContent image;
    image.image = imageOf(2, 2);
    EXPECT_TRUE(image.saveAsCsv(path).ok());
    EXPECT_EQ(platform::files::readFile(path), "0,1\n100,101\n");
    EXPECT_FALSE(image.saveAsCsv(folder + "/none/p.csv").ok());
    EXPECT_FALSE(contentOf({})->saveAsCsv(folder).ok());
    EXPECT_FALSE(std::filesystem::exists(folder + ".part"));
    std::filesystem::remove_all(folder);
}

} // namespace
