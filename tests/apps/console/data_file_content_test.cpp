// The variables of a data file that a program writes meanwhile, as the tables get them.

#include "apps/composition/DataFileContent.h"
#include "datafile/SVDataFile.h"
#include "datafile/SVVariableWriter.h"
#include "diagnostics/KRComputationalThread.h"
#include "platform/loop/Pace.h"
#include "task/WrapperOnDisk.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>

namespace {

struct Content : testing::Test {
    Content() { platform::Pace::setFactor(0.01); }
    ~Content() override
    {
        // A dropped reading would report that the folder of the test has gone.
        platform::MainLoop::main().runUntil(
            [] { return KRComputationalThread::shared().howManyThreadsRunning() == 0; }, 10);
        platform::Pace::setFactor(1);
    }

    std::shared_ptr<DataFileContent> open()
    {
        return DataFileContent::open(path, [this] { ++changes; });
    }
    static void addStep(SVDataFile& file, int step)
    {
        file.Save("Real Number", "Seq_v");
        file.Save(0.5 * step, fmt::format("v_{}_time", step).c_str());
        file.Save(10.0 * step, fmt::format("v_{}", step).c_str());
        file.Flush();
    }
    static bool shows(const DataFileContent& content, const std::string& text)
    {
        return platform::MainLoop::main().runUntil(
            [&] { return !content.isBeingRead() && content.cell("Information", 0) == text; }, 10);
    }

    WrapperOnDisk wrapper;
    const std::string path = wrapper.folder() / "r.svbin";
    int changes = 0;
};

TEST_F(Content, TakesInWhatIsWrittenDuringAReading)
{
    SVDataFile file(path.c_str(), SVFile::NewReadWrite);
    addStep(file, 0);
    const auto content = open();
    ASSERT_TRUE(content);
    EXPECT_TRUE(content->isBeingRead());
    EXPECT_EQ(content->count(), 0U);
    addStep(file, 1);
    content->update(); // The reading goes on: it is done afterwards.
    EXPECT_TRUE(shows(*content, "2 time values"));
    EXPECT_EQ(content->recordNamed("v")->type(), "Real Number");
    EXPECT_FALSE(content->recordNamed("V"));

    content->update(); // It may have been written after the first look.
    EXPECT_TRUE(shows(*content, "2 time values"));
    const int before = changes;
    content->update();
    EXPECT_FALSE(content->isBeingRead()) << "nothing was written";
    addStep(file, 2);
    content->update();
    content->update();
    EXPECT_TRUE(shows(*content, "3 time values"));
    EXPECT_EQ(changes, before + 1);
    EXPECT_THAT(wrapper.messages(), testing::IsEmpty());
}

TEST_F(Content, ReadsAFileAnewThatWasReplacedOrCut)
{
    const auto replace = [this](int steps) {
        std::ignore = platform::files::remove(path);
        SVDataFile file(path.c_str(), SVFile::NewReadWrite);
        for (int step = 0; step < steps; ++step)
            addStep(file, step);
    };
    replace(2);
    const auto content = open();
    EXPECT_TRUE(shows(*content, "2 time values"));
    for (const auto& [steps, text] : {std::pair(5, "5 time values"), {1, "0"}}) {
        replace(steps);
        content->update();
        EXPECT_TRUE(shows(*content, text));
    }
    std::filesystem::resize_file(path, 0);
    content->update();
    EXPECT_TRUE(shows(*content, ""));
    EXPECT_EQ(content->count(), 0U);
}

TEST_F(Content, FollowsTheMembersOfAStack)
{
    const std::string folder = wrapper.folder() / "s.svdata";
    std::ignore = platform::files::createDirectory(folder);
    SVDataFile file((folder + "/r.svbin").c_str(), SVFile::NewReadWrite);
    addStep(file, 0);
    const auto content = DataFileContent::open(folder, [this] { ++changes; });
    EXPECT_TRUE(shows(*content, "0"));
    addStep(file, 1);
    for (int round = 0; round < 2; ++round) {
        content->update();
        EXPECT_TRUE(shows(*content, "2 time values"));
    }
    EXPECT_EQ(changes, 2) << "nothing was written in the second round";
}

TEST_F(Content, AMissingFileIsNotMadeAndADroppedReadingTellsNothing)
{
    EXPECT_FALSE(open() || platform::files::exists(path));
    {
        SVDataFile file(path.c_str(), SVFile::NewReadWrite);
        addStep(file, 0);
    }
    open().reset();
    const auto kept = open();
    EXPECT_TRUE(shows(*kept, "0"));
    EXPECT_EQ(changes, 1);
}

struct Plotted : Content {
    PlottedValue read(const char* variable, PlottedValue::Choice choice = {})
    {
        std::optional<PlottedValue> value;
        content->readForPlot(
            variable, choice, stop.get_token(), [&](const PlottedValue& plotted) { value = plotted; });
        EXPECT_FALSE(value) << "never from inside the call";
        platform::MainLoop::main().runUntil([&] { return value.has_value(); }, 10);
        return value.value_or(PlottedValue());
    }
    void load()
    {
        content = open();
        platform::MainLoop::main().runUntil([&] { return content->hasBeenRead(); }, 10);
    }
    // Each element is its index.
    static SVMutableDoubleArray counted(long m, long n, long o = 1)
    {
        SVMutableDoubleArray numbers(m, n, o);
        for (long k = 0; k < o; ++k)
            for (long j = 0; j < n; ++j)
                for (long i = 0; i < m; ++i)
                    numbers(i, j, k) = static_cast<double>(i + m * (j + n * k));
        return numbers;
    }

    std::shared_ptr<DataFileContent> content;
    std::stop_source stop;
};

TEST_F(Plotted, NumbersOverTheirTimesAsTheFileGrows)
{
    SVDataFile file(path.c_str(), SVFile::NewReadWrite);
    addStep(file, 0);
    load();
    EXPECT_EQ(read("v").number, 0);
    addStep(file, 1);
    addStep(file, 2);
    content->update();
    EXPECT_TRUE(shows(*content, "3 time values"));
    const PlottedValue value = read("v");
    ASSERT_EQ(value.content.curves.size(), 1U);
    EXPECT_THAT(*value.content.curves[0].x, testing::ElementsAre(0, 0.5, 1));
    EXPECT_THAT(*value.content.curves[0].y, testing::ElementsAre(0, 10, 20));
    EXPECT_FALSE(value.number || value.times);
    addStep(file, 3);
    content->update();
    EXPECT_TRUE(shows(*content, "4 time values"));
    EXPECT_THAT(*read("v").content.curves[0].y, testing::ElementsAre(0, 10, 20, 30));
    EXPECT_FALSE(read("w").content.note.empty());
}

TEST_F(Plotted, ArraysByTheirDimensionsStepByStep)
{
    SVDataFile file(path.c_str(), SVFile::NewReadWrite);
    SVVariableWriter writer(file);
    writer.Write("line", SVVariableValue(counted(3, 1)).As("Array"));
    writer.Write("cube", SVVariableValue(counted(3, 2, 2)).As("Array"));
    writer.Write("word", "text");
    writer.Announce("field", "Array");
    for (int step = 0; step < 2; ++step)
        writer.Append("field", 0.5 * step, counted(2, 3 + step));
    writer.Finish();
    load();

    EXPECT_THAT(*read("line").content.curves.at(0).y, testing::ElementsAre(0, 1, 2));
    const PlottedValue cube = read("cube", {.step = std::nullopt, .slice = 9});
    EXPECT_EQ(cube.slices, 2U);
    EXPECT_EQ(cube.slice, 1U) << "the last one";
    EXPECT_EQ(cube.content.image->value(2, 1), 11);
    EXPECT_EQ(cube.content.image->values, (toolkit::PlotRange{6, 11}));
    EXPECT_EQ(read("cube").content.image->value(2, 1), 5);
    const PlottedValue last = read("field");
    EXPECT_EQ(last.content.image->height, 4);
    EXPECT_THAT(*last.times, testing::ElementsAre(0, 0.5));
    EXPECT_EQ(last.step, 1U);
    EXPECT_EQ(read("field", {.step = 0}).content.image->height, 3);
    EXPECT_TRUE(read("word").content.isEmpty());
    EXPECT_FALSE(read("word").content.note.empty());
}

TEST_F(Plotted, ALargeFieldStaysInItsFile)
{
    constexpr long kSide = 2100;
    SVDataFile file(path.c_str(), SVFile::NewReadWrite);
    SVVariableWriter writer(file);
    SVMutableFloatArray numbers(kSide, kSide);
    for (long j = 0; j < kSide; ++j)
        for (long i = 0; i < kSide; ++i)
            numbers(i, j) = static_cast<float>(i + kSide * j);
    writer.Write("field", SVVariableValue(numbers).As("Array"));
    writer.Finish();
    load();
    const toolkit::PlotImage image = read("field").content.image.value();
    ASSERT_TRUE(image.isInFile());
    EXPECT_TRUE(image.isSinglePrecision);
    EXPECT_EQ(image.value(3, 2), 3 + 2 * kSide);
    const toolkit::PlotRange all{-0.5, kSide - 0.5};
    EXPECT_EQ(image.raster(all, all, 7, 3).back(), 1950 + kSide * 1750) << "below the raster's last center";
    EXPECT_EQ(image.raster({9.5, 10.5}, all, 1, 1).front(), 10 + kSide * 1050);
    EXPECT_EQ(image.thinned->height, 512);
    EXPECT_NEAR(image.values.upper, kSide * kSide, 5 * kSide) << "of the cells that were read";
    EXPECT_TRUE(image.isThinnedEnoughFor(all, all, 500, 500));
    EXPECT_FALSE(image.isThinnedEnoughFor(all, {0, 9}, 500, 500));
    file.Flush();
    std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
    EXPECT_EQ(image.value(3, 2), 3 + 2 * kSide);
    EXPECT_TRUE(std::isnan(image.value(0, kSide - 1))) << "cut off since";
}

TEST_F(Plotted, ColumnsOfTablesAndMembersOfGroups)
{
    SVDataFile file(path.c_str(), SVFile::NewReadWrite);
    SVVariableWriter writer(file);
    const auto numbers = [](std::vector<double> list) { return SVVariableValue(list).As("NumberList"); };
    writer.Write("table",
        SVVariableValue::Table(
            {{"a", numbers({5, 6, 7})}, {"time", numbers({0, 1, 2})}, {"b", numbers({1, 2, 3})}}));
    using Type = SVVariableType;
    writer.Announce("group",
        Type::Group({{"name", "String"}, {"energy", "Real Number"},
            {"inner", Type::Group({{"line", "NumberList"}})}}));
    for (int step = 0; step < 2; ++step)
        writer.Append("group", step,
            SVVariableValue::Group({{"name", "x"}, {"energy", 2.0 * step},
                {"inner", SVVariableValue::Group({{"line", counted(3, 1)}})}}));
    writer.Finish();
    load();

    const auto table = read("table").content;
    EXPECT_EQ(table.xTitle, "time");
    ASSERT_EQ(table.curves.size(), 2U);
    EXPECT_EQ(table.curves[1].name, "b");
    EXPECT_THAT(*table.curves[1].x, testing::ElementsAre(0, 1, 2));
    EXPECT_THAT(*table.curves[1].y, testing::ElementsAre(1, 2, 3));

    const PlottedValue energy = read("group");
    EXPECT_THAT(energy.members, testing::ElementsAre("energy", "inner/line"));
    EXPECT_THAT(*energy.content.curves.at(0).y, testing::ElementsAre(0, 2));
    const PlottedValue line = read("group", {.step = std::nullopt, .slice = 0, .member = 1});
    EXPECT_EQ(line.content.title, "group: inner/line");
    EXPECT_THAT(*line.content.curves.at(0).y, testing::ElementsAre(0, 1, 2));
    EXPECT_EQ(line.times->size(), 2U);
    stop.request_stop();
    EXPECT_TRUE(read("group").content.isEmpty());
}

TEST_F(Plotted, PathsPointsAndRegionsInThePlane)
{
    SVDataFile file(path.c_str(), SVFile::NewReadWrite);
    SVVariableWriter writer(file);
    writer.Write("path", SVVariableValue(counted(2, 3)).As("Path2D"));
    writer.Write("points", SVVariableValue(counted(3, 2)).As("PointCollection2D"));
    writer.Write("odd", SVVariableValue(counted(3, 3)).As("Path2D"));
    writer.Write("region", SVVariableValue(counted(4, 1)).As("Region2D"));
    writer.Finish();
    load();
    using Kind = toolkit::PlotCurve::Kind;
    const std::tuple<const char*, Kind, std::vector<double>, std::vector<double>> expected[] = {
        {"path", Kind::Path, {0, 2, 4}, {1, 3, 5}}, {"points", Kind::Points, {0, 1, 2}, {3, 4, 5}},
        {"region", Kind::Region, {0, 1, 1, 0}, {2, 2, 3, 3}}};
    for (const auto& [name, kind, x, y] : expected) {
        SCOPED_TRACE(name);
        const PlottedValue value = read(name);
        ASSERT_EQ(value.content.curves.size(), 1U);
        EXPECT_EQ(value.content.curves[0].kind, kind);
        EXPECT_EQ(*value.content.curves[0].x, x);
        EXPECT_EQ(*value.content.curves[0].y, y);
    }
    EXPECT_TRUE(read("odd").content.isEmpty());
}

} // namespace
