// A batch from its wrapper to the removal of its folder, and on from where it was left.

#include "remote/cluster/OpenBatch.h"

#include <algorithm>
#include <filesystem>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST_F(Batch, GoesFromTheWrapperToTheRemovalOfItsFolder)
{
    cluster.write("scheduler/hold", "");
    wrapper.write("1/.hidden", "");
    open();
    EXPECT_EQ(panel().directoryNameField.stringValue(), "Making sure that work folder exists");
    EXPECT_EQ(buttons(), "----");
    ASSERT_TRUE(served([&] { return engine().numberOfLooks() == 1 && !engine().isBusy(); }, 20)) << lines();
    const std::string folder = batchFolder();
    EXPECT_EQ(flags(),
        "Executable Exists=YES\nHost=cluster.test\nName of Executable=my_solver\nQueue=cluster.test\n"
        "Runs have Started=YES\nSources have been copied=YES\nTasks have been copied=YES\n"
        "Work Folder=TrelkindWorkDirectory\nWork folder exists=YES\n");
    EXPECT_EQ(panel().directoryNameField.stringValue(), machine->machineDescription() + "     " + folder);
    EXPECT_EQ(panel().xCodeNameField.stringValue(), wrapper.folder() / "project/solver.xcodeproj");
    EXPECT_EQ(panel().sourceStatus.stringValue(), "Executable exists");
    EXPECT_EQ(panel().inputStatus.stringValue(), "Input tasks uploaded");
    EXPECT_EQ(panel().outputStatus.stringValue(), "");
    EXPECT_EQ(panel().sourceProgress.doubleValue(), 100);
    EXPECT_EQ(panel().taskProgress.doubleValue(), 100);
    EXPECT_THAT(panel().makeOutputView.string(), HasSubstr("main.cpp"));
    EXPECT_EQ(buttons(), "---x");
    EXPECT_NEAR(engine().secondsToNextLook().value_or(0), 15 * 60, 60);

    EXPECT_THAT(cluster.names(folder),
        ElementsAre("0", "1", "2", "Executable", "Finished", "Sources", "Started", "SubmitTasks"));
    EXPECT_THAT(cluster.names(folder + "/1"), ElementsAre("input", "my_solver"));
    EXPECT_EQ(cluster.read(folder + "/SubmitTasks"),
        "#!/bin/sh\n\ncd " + folder + "\n\ncd 0\nsbatch --time=240:00:00 ./my_solver\ncd ../1\n"
            + "sbatch --time=240:00:00 ./my_solver\ncd ../2\nsbatch --time=240:00:00 ./my_solver\n");
    EXPECT_THAT(cluster.read("scheduler/calls"), HasSubstr("/1 --time=240:00:00 ./my_solver\n"));
    EXPECT_THAT(cluster.names(folder + "/Sources"),
        testing::IsSupersetOf({"Makefile", "Makefile.sources", "SVCompileExecutable", "main.cpp"}));
    EXPECT_EQ(cluster.read(folder + "/Sources/Makefile.sources"), "CXX_SRCS = \\\nmain.cpp\n\nC_SRCS = \n\n");
    EXPECT_EQ(cluster.read("TrelkindWorkDirectory/CachedExecutables/my_solver.md5"),
        controller->executableMD5().value_or("") + "\n");

    std::filesystem::remove(cluster / "scheduler/hold");
    ASSERT_TRUE(served([&] { return cluster.names(folder + "/Finished").size() == 3; }));
    engine().checkForOutput();
    EXPECT_EQ(panel().outputStatus.stringValue(), "Checking for output");
    EXPECT_EQ(buttons(), "----");
    expectWholeBatch();
    EXPECT_THAT(wrapper.messages(), IsEmpty());

    // The next batch of the program takes it from the cache.
    std::filesystem::remove_all(wrapper / "1");
    wrapper.write("1/input", "input 1");
    reopen();
    ASSERT_TRUE(served([&] { return engine().numberOfLooks() > 0; }, 20)) << lines();
    EXPECT_FALSE(cluster.has(batchFolder() + "/Sources"));
    EXPECT_EQ(panel().sourceProgress.doubleValue(), 100);
    EXPECT_EQ(cluster.read(batchFolder() + "/SubmitTasks"),
        "#!/bin/sh\n\ncd " + batchFolder() + "\n\ncd 1\nsbatch --time=240:00:00 ./my_solver\n");
    ASSERT_TRUE(served([&] {
        if (controller->engine())
            engine().checkForOutput();
        return !controller->engine();
    }));
}

// Each stage at which the program may have gone, and what is done again.
TEST_F(Batch, GoesOnFromTheFlagsOfAnInterruptedOne)
{
    struct Case {
        std::vector<const char*> flags;
        bool compiles;
        int submissions;
    };
    const char* folderExists = "Work folder exists";
    const char* sources = "Sources have been copied";
    const char* executable = "Executable Exists";
    const char* tasks = "Tasks have been copied";
    const std::string batch = "TrelkindWorkDirectory/01234567-89AB-CDEF-0123-456789ABCDEF";
    // A batch that has come to its submission, kept as the state of the cluster at every stage before.
    cluster.write("scheduler/lose", "");
    begun({});
    open();
    ASSERT_TRUE(served([&] { return engine().numberOfLooks() == 1 && !engine().isBusy(); }, 20)) << lines();
    close();
    std::filesystem::copy(cluster / batch, cluster / "kept", std::filesystem::copy_options::recursive);
    for (const char* run : {"0", "1", "2"})
        EXPECT_THAT(cluster.names("kept/" + std::string(run)), ElementsAre("input", "my_solver"));

    for (const Case& one :
        {Case{{}, true, 1}, Case{{folderExists}, true, 1}, Case{{folderExists, sources}, true, 1},
            Case{{folderExists, tasks}, true, 1}, Case{{folderExists, sources, executable}, false, 1},
            Case{{folderExists, sources, executable, tasks}, false, 1}}) {
        SCOPED_TRACE(one.flags.size());
        std::filesystem::remove_all(cluster / "scheduler");
        std::filesystem::remove_all(cluster / "TrelkindWorkDirectory/CachedExecutables");
        std::filesystem::create_directory(cluster / "TrelkindWorkDirectory/CachedExecutables");
        std::filesystem::remove_all(cluster / batch);
        std::filesystem::copy(cluster / "kept", cluster / batch, std::filesystem::copy_options::recursive);
        if (one.flags.size() < 3 && !(one.flags.size() == 2 && one.flags[1] == sources))
            cluster.write(batch + "/Sources/main.cpp", "torn");
        resetRuns();
        begun(one.flags);
        machine->wishes.minutesBetweenLooks = 0.002;
        open();
        expectWholeBatch(one.submissions);
        EXPECT_EQ(cluster.has("TrelkindWorkDirectory/CachedExecutables/my_solver"), one.compiles);
        close();
    }
    EXPECT_THAT(wrapper.messages(), IsEmpty());
}

TEST_F(Batch, ShowsWhereAStepFailedAndTriesItAgain)
{
    // The check alone makes the work folder.
    std::filesystem::remove_all(cluster / "TrelkindWorkDirectory");
    open();
    ASSERT_TRUE(shows(panel().directoryNameField, "Could not create the folder"));
    EXPECT_EQ(buttons(), "x---");
    EXPECT_EQ(engine().standsStill(), "Could not create the folder");
    cluster.write("TrelkindWorkDirectory/CachedExecutables/.kept", "");
    // A program that doesn't compile; the retry compiles what is there and uploads nothing.
    support::writeFile(wrapper.folder() / "project/main.cpp", "int main( // broken\n");
    panel().checkWorkFolderButton.press();
    ASSERT_TRUE(shows(panel().sourceStatus, "Compilation failed"));
    EXPECT_EQ(buttons(), "-x--");
    EXPECT_THAT(panel().makeOutputView.string(), HasSubstr("error"));
    ASSERT_TRUE(shows(panel().inputStatus, "Input tasks uploaded")) << "the other strand goes on";
    EXPECT_FALSE(engine().hasBeenSubmitted());
    cluster.write(batchFolder() + "/Sources/main.cpp", kSolver);
    panel().minutesBetween.commit("0.002");
    panel().checkAgainButton.press();
    EXPECT_EQ(buttons(), "----");
    std::filesystem::remove(cluster / "TrelkindWorkDirectory/CachedExecutables/.kept");
    expectWholeBatch();

    // Uploads into a folder that has become a file.
    close();
    resetRuns();
    std::filesystem::remove_all(cluster / "TrelkindWorkDirectory/CachedExecutables");
    std::filesystem::remove_all(cluster / "scheduler");
    begun({"Work folder exists"});
    cluster.write(batchFolder(), "a file");
    open();
    ASSERT_TRUE(shows(panel().sourceStatus, "Did not find the home directory.")) << lines();
    ASSERT_TRUE(shows(panel().inputStatus, "Did not find the home directory.")) << lines();
    EXPECT_EQ(buttons(), "-xx-");
    std::filesystem::remove(cluster / batchFolder());
    std::filesystem::create_directories(cluster / batchFolder());
    support::writeFile(wrapper.folder() / "project/main.cpp", kSolver);
    panel().minutesBetween.commit("0.002");
    engine().tryAgain();
    EXPECT_EQ(panel().sourceStatus.stringValue(), "Checking if executable exists");
    ASSERT_TRUE(shows(panel().sourceStatus, "Executable exists")) << lines();
    ASSERT_TRUE(served([&] { return !controller->engine(); }, 20)) << lines();
}

// With the name of a machine that nobody answers for, each step that began has its own words.
TEST_F(Batch, ShowsWhichStepCouldNotConnect)
{
    bool isReached = false;
    const auto reached = MachineAddress::resolver();
    MachineAddress::resolver() = [&](const std::string& name) {
        return isReached ? reached(name) : MachineAddress{"127.0.0.1", 1};
    };
    const std::string words = "Could not connect to cluster.test";
    struct Case {
        std::vector<const char*> flags;
        toolkit::Label LsfAddition::*line;
        std::string shown;
        const char* buttons;
        bool isStuck;
    };
    const char* folder = "Work folder exists";
    const char* sources = "Sources have been copied";
    const char* executable = "Executable Exists";
    const char* tasks = "Tasks have been copied";
    for (const Case& one : {Case{{}, &LsfAddition::directoryNameField, words, "x---", false},
             Case{{folder, tasks}, &LsfAddition::sourceStatus, words, "-x--", false},
             Case{{folder, sources, tasks}, &LsfAddition::sourceStatus, words, "-x--", false},
             Case{{folder, executable}, &LsfAddition::inputStatus, words, "--x-", false},
             Case{{folder, executable, tasks}, &LsfAddition::outputStatus, "", "----", true},
             Case{{folder, executable, tasks, "Runs have Started"}, &LsfAddition::outputStatus, words, "---x",
                 false}}) {
        SCOPED_TRACE(one.flags.size());
        begun(one.flags);
        const std::string before = flags();
        open();
        ASSERT_TRUE(
            served([&] { return !engine().isBusy() && (panel().*one.line).stringValue() == one.shown; }, 20))
            << lines();
        EXPECT_EQ(buttons(), one.buttons);
        EXPECT_EQ(engine().isStuck(), one.isStuck);
        EXPECT_EQ(engine().secondsToNextLook().has_value(), one.flags.size() == 4) << "the timer keeps going";
        close();
        EXPECT_THAT(flags(), HasSubstr("Host=cluster.test")) << before;
    }
    EXPECT_THAT(wrapper.messages(), ElementsAre("The submission on the cluster has failed."));

    // The removal of a batch that has ended: stuck until the wrapper is opened again.
    for (const char* run : {"0", "1", "2"})
        wrapper.write(std::string(run) + "/VTask_runCompleted", "machine");
    begun({folder, executable, tasks, "Runs have Started"});
    cluster.write(batchFolder() + "/Started/0", "");
    open();
    ASSERT_TRUE(served([&] { return engine().isStuck(); }, 20)) << lines();
    EXPECT_EQ(panel().outputStatus.stringValue(), "Removing from server");
    EXPECT_TRUE(wrapper.has("Remote Machine.plist"));
    isReached = true;
    reopen();
    ASSERT_TRUE(served([&] { return !controller->engine(); }, 20)) << lines();
    EXPECT_FALSE(cluster.has("TrelkindWorkDirectory/01234567-89AB-CDEF-0123-456789ABCDEF"));
    EXPECT_FALSE(wrapper.has("Remote Machine.plist"));
    // A removal that fails ends the batch all the same.
    {
        const LoopbackCluster full("MaxSessions 0");
        begun({folder, executable, tasks, "Runs have Started"});
        reopen();
        const auto kept = std::static_pointer_cast<SVTrelkindEngineLSF>(engine().shared_from_this());
        ASSERT_TRUE(served([&] { return !controller->engine(); }, 20)) << lines();
        EXPECT_EQ(kept->panel().outputStatus.stringValue(), "Failed to remove");
        EXPECT_THAT(wrapper.messages().back(), HasSubstr("Failed to remove the folder of the batch"));
        EXPECT_THAT(wrapper.lastLongMessage(), HasSubstr(machine->machineDescription() + ":TrelkindWork"));
        EXPECT_FALSE(wrapper.has("Remote Machine.plist"));
    }
}

TEST_F(Batch, TakesTheMinutesBetweenLooksAsEntered)
{
    begun({"Work folder exists", "Executable Exists", "Tasks have been copied", "Runs have Started"});
    open();
    const auto settled = [this](int looks) {
        return served([&] { return engine().numberOfLooks() >= looks && !engine().isBusy(); });
    };
    ASSERT_TRUE(settled(1));
    EXPECT_EQ(panel().minutesBetween.stringValue(), "15");
    panel().minutesBetween.commit("15.0"); // The same value: nothing happens.
    EXPECT_FALSE(engine().isBusy());
    int looks = 1;
    struct Case {
        const char* entered;
        const char* shown;
        double kept;
        double next; // Seconds to the next look; 0 for a timer that never fires.
    };
    for (const Case& one : {Case{"2.5", "2.5", 2.5, 150}, Case{"inf", "15", 15, 0}, Case{"7", "7", 7, 420},
             Case{"1e300", "1e300", 1e300, 0}}) {
        SCOPED_TRACE(one.entered);
        panel().minutesBetween.commit(one.entered);
        EXPECT_TRUE(engine().isBusy()) << "it looks at once";
        ASSERT_TRUE(settled(++looks));
        EXPECT_EQ(panel().minutesBetween.stringValue(), one.shown);
        EXPECT_EQ(engine().minutesBetweenChecks(), one.kept);
        const auto next = engine().secondsToNextLook();
        EXPECT_NEAR(one.next > 0 ? next.value_or(-1) : 0, one.next, 30);
    }
    // The timer doesn't take the corrected value: it looks as often as it can.
    for (const char* entered : {"0", "-3", "none"}) {
        panel().minutesBetween.commit(entered);
        EXPECT_EQ(panel().minutesBetween.stringValue(), "15");
        EXPECT_EQ(engine().minutesBetweenChecks(), 15);
        looks = engine().numberOfLooks();
        EXPECT_TRUE(served([&] { return engine().numberOfLooks() >= looks + 3; })) << entered;
        panel().minutesBetween.commit("4");
    }
    looks = engine().numberOfLooks() + 1;
    ASSERT_TRUE(settled(looks));
    EXPECT_NEAR(engine().secondsToNextLook().value_or(-1), 240, 30) << "a later value replaces it";
}

} // namespace
