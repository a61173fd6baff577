// The variables of a data file that a program writes meanwhile, as the tables get them.

#include "apps/composition/DataFileContent.h"
#include "datafile/SVDataFile.h"
#include "diagnostics/KRComputationalThread.h"
#include "platform/loop/Pace.h"
#include "task/WrapperOnDisk.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

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

} // namespace
