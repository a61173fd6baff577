// What a batch refuses, repeats and tells.

#include "remote/cluster/OpenBatch.h"
#include "remote/cluster/SVSetupForLSFController.h"
#include "remote/machines/ClusterNames.h"

#include <algorithm>
#include <filesystem>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// What can't be remembered would be done twice.
TEST_F(Batch, SubmitsOnlyWhatItCanRemember)
{
    const auto block = [this](bool isBlocked) { // A folder stands in the place of the file.
        std::filesystem::remove_all(wrapper / "Remote Machine.plist");
        if (isBlocked)
            wrapper.write("Remote Machine.plist/inner");
    };
    begun({"Work folder exists", "Executable Exists"});
    open();
    block(true);
    ASSERT_TRUE(served([&] { return engine().isStuck(); }, 20)) << lines();
    EXPECT_FALSE(cluster.has("scheduler/calls"));
    EXPECT_THAT(wrapper.messages(),
        ElementsAre("Could not save the state of the batch.", "Could not save the state of the batch.",
            "The submission on the cluster has failed."));
    close();

    block(false);
    cluster.write("scheduler/lose", "");
    begun({"Work folder exists", "Executable Exists", "Tasks have been copied"});
    open();
    block(true);
    ASSERT_TRUE(served([&] { return engine().numberOfLooks() > 0 && !engine().isBusy(); }, 20)) << lines();
    block(false);
    engine().checkForOutput();
    EXPECT_THAT(flags(), HasSubstr("Runs have Started=YES"));
    ASSERT_TRUE(served([&] { return !engine().isBusy(); }, 20));
}

TEST_F(Batch, LooksAtOnceAfterASleep)
{
    begun({"Work folder exists", "Executable Exists", "Tasks have been copied", "Runs have Started"});
    platform::Pace::setFactor(0.01); // Looks for a sleep ten times a second, and at the output after 9.
    open();
    ASSERT_TRUE(served([&] { return engine().numberOfLooks() == 1 && !engine().isBusy(); }, 20)) << lines();
    platform::addSecondsAsleep(3600);
    ASSERT_TRUE(served([&] { return engine().numberOfLooks() == 2; }, 5));
    EXPECT_GT(engine().secondsToNextLook().value_or(0), 5) << "the timer goes on";
}

// The cache may have lost the program, or the copy its room: then it is compiled.
TEST_F(Batch, CompilesWhatTheCacheCanNotGive)
{
    controller = app.openTaskWithName(wrapper.path());
    cluster.write("TrelkindWorkDirectory/CachedExecutables/my_solver.md5",
        controller->executableMD5().value_or("") + "\n");
    machine->wishes.minutesBetweenLooks = 0.002;
    controller->connectMachine(*machine, "short");
    expectWholeBatch();
}

TEST_F(Batch, LeavesAnOldHostWhereItIs)
{
    begun({"Work folder exists", "Runs have Started"});
    wrapper.plist("Remote Machine.plist",
        platform::Value::Dictionary{{"Host", "old.host"}, {"UUID", "01234567-89AB-CDEF-0123-456789ABCDEF"},
            {"Runs have Started", "YES"}});
    controller = app.openTaskWithName(wrapper.path());
    EXPECT_FALSE(controller->engine()) << "no machine of that name is known";
    controller->connectMachine(*machine, "");
    EXPECT_EQ(flags(), "Host=cluster.test\nWork Folder=TrelkindWorkDirectory\n") << "no queue, no Queue key";
    EXPECT_TRUE(clusternames::isUuid(uuid()));
    EXPECT_NE(uuid(), "01234567-89AB-CDEF-0123-456789ABCDEF");
    EXPECT_THAT(wrapper.messages(), ElementsAre("Should remove the information from the old host"));
    ASSERT_TRUE(served([&] { return engine().numberOfLooks() > 0; }, 20)) << lines();
}

TEST_F(Batch, RefusesWhatWouldGoWrongThere)
{
    const auto refused = [this](const std::string& part) {
        open();
        EXPECT_THAT(engine().refusal().value_or("it begins"), HasSubstr(part));
        EXPECT_EQ(panel().directoryNameField.stringValue(), engine().refusal().value_or(""));
        EXPECT_EQ(buttons(), "x---");
        EXPECT_FALSE(engine().isBusy());
        close();
    };
    wrapper.plist("Remote Machine.plist",
        platform::Value::Dictionary{{"Host", LoopbackCluster::kName}, {"UUID", "../../home"}});
    refused("is not the name of a batch");
    // Not even a look is made at what such a file names: the end of all tasks would remove it.
    for (const char* run : {"0", "1", "2"})
        wrapper.write(std::string(run) + "/VTask_runCompleted", "machine");
    cluster.write("home/kept", "");
    open();
    panel().minutesBetween.commit("0.002");
    EXPECT_FALSE(engine().isBusy());
    close();
    EXPECT_TRUE(cluster.has("home/kept"));
    resetRuns();
    wrapper.write("Remote Machine.plist", "torn");
    refused("can't be read");
    EXPECT_EQ(wrapper.read("Remote Machine.plist"), "torn");
    wrapper.remove("Remote Machine.plist");
    machine->form().workDirectoryNameField.setStringValue("$(rm -r .)");
    refused("holds other characters");
    machine->form().workDirectoryNameField.setStringValue("");
    wrapper.executable("x", "a`b");
    refused("can't carry");
    wrapper.executable("local", "my solver").tasks({"", "-x", ""});
    refused("don't reach their runs");
    EXPECT_FALSE(wrapper.has("Remote Machine.plist"));
    EXPECT_THAT(cluster.names("TrelkindWorkDirectory"), ElementsAre("CachedExecutables"));
    // Once the reason is gone, the batch goes on as if it had never been refused.
    wrapper.tasks({"", "", ""});
    begun({"Work folder exists", "Executable Exists", "Tasks have been copied", "Runs have Started"});
    {
        const platform::FolderLock other(wrapper.path(), platform::FolderLock::Kind::Exclusive);
        open();
        EXPECT_THAT(engine().refusal().value_or(""), HasSubstr("by another trelkind"));
    }
    engine().tryAgain();
    EXPECT_EQ(engine().standsStill(), std::nullopt);
    ASSERT_TRUE(served([&] { return engine().numberOfLooks() == 1; }, 20)) << lines();
    close();
    wrapper.remove("Remote Machine.plist");
    wrapper.tasks({"", "-x", ""});
    // The user may take it without them, for the whole batch.
    open();
    panel().minutesBetween.commit("0.002");
    engine().goOnWithoutArguments();
    EXPECT_THAT(flags(), HasSubstr("Without Arguments=YES"));
    ASSERT_TRUE(served([&] { return !controller->engine(); }, 20)) << lines();
}

TEST_F(Batch, TellsWhatTheSchedulerSays)
{
    cluster.write("scheduler/refuse", "");
    support::writeFile(cluster / "squeue.answer", "");
    open();
    ASSERT_TRUE(served([&] { return engine().numberOfLooks() > 0 && !engine().isBusy(); }, 20)) << lines();
    EXPECT_TRUE(engine().hasBeenSubmitted()) << "the submission isn't examined";
    EXPECT_THAT(wrapper.messages(), ElementsAre("The scheduler has refused jobs."));
    EXPECT_THAT(wrapper.lastLongMessage(), HasSubstr("0 of 3 accepted. sbatch: error: refused"));
    EXPECT_THAT(engine().remarks(), IsEmpty()) << "there is no squeue";
    const std::string first = "echo '1|PENDING|Resources|'$HOME/" + batchFolder() + "/0\n";
    cluster.addProgram("squeue", first + "echo '2|RUNNING|None|'$HOME/" + batchFolder() + "/1");
    const auto look = [this] {
        const int looks = engine().numberOfLooks();
        engine().checkForOutput();
        EXPECT_TRUE(served([&] { return engine().numberOfLooks() > looks && !engine().isBusy(); }));
    };
    const auto lost = [](const char* runs) {
        return HasSubstr("has no job for them and they have not ended: " + std::string(runs)
            + ". Submit them again in their folders there, or end the batch");
    };
    look();
    EXPECT_THAT(engine().remarks(), ElementsAre("Waiting (Resources): 1", lost("3"))) << "it was refused";
    // A job that is killed leaves the mark of its begin alone; it may also just have ended.
    cluster.write(batchFolder() + "/1/VTask_runStarted", "");
    cluster.addProgram("squeue", first);
    look();
    EXPECT_THAT(engine().remarks(), ElementsAre("Waiting (Resources): 1", lost("3")));
    look();
    EXPECT_THAT(engine().remarks(), ElementsAre("Waiting (Resources): 1", lost("2-3")));
}

// A script that can't even be executed has submitted nothing: its flag would end in waiting for ever.
TEST_F(Batch, RepeatsASubmissionThatNeverBegan)
{
    begun({"Work folder exists", "Executable Exists", "Tasks have been copied"});
    cluster.write(batchFolder() + "/SubmitTasks", "#!/bin/sh\n");
    open();
    ASSERT_TRUE(served([&] { return engine().isStuck(); }, 20)) << lines();
    EXPECT_FALSE(engine().hasBeenSubmitted());
    EXPECT_THAT(wrapper.messages(), ElementsAre("The submission on the cluster has failed."));
    std::filesystem::permissions(cluster / (batchFolder() + "/SubmitTasks"), std::filesystem::perms(0700));
    controller->goOnWithBatch();
    ASSERT_TRUE(served([&] { return engine().hasBeenSubmitted(); }, 20)) << lines();
}

TEST_F(Batch, FindsTheExecutableByListing)
{
    begun({"Work folder exists", "Runs have Started"});
    machine->form().machineNameField.setStringValue(LoopbackCluster::kName);
    wrapper.plist("Remote Machine.plist",
        platform::Value::Dictionary{
            {"Host", LoopbackCluster::kName}, {"UUID", uuid()}, {"Name of Executable", "my_solver"}});
    cluster.write("TrelkindWorkDirectory/.kept", "");
    const auto reached = MachineAddress::resolver();
    MachineAddress::resolver() = [](const std::string&) { return MachineAddress{"127.0.0.1", 1}; };
    open();
    ASSERT_TRUE(shows(panel().directoryNameField, "Could not connect to cluster.test"));
    engine().checkIfExecutableWorksAndRun(false);
    ASSERT_TRUE(shows(panel().sourceStatus, "Connection failed"));
    EXPECT_EQ(buttons(), "xx-x");
    MachineAddress::resolver() = reached;
    engine().checkIfExecutableWorksAndRun(true);
    ASSERT_TRUE(shows(panel().sourceStatus, "Compilation failed"));
    EXPECT_EQ(buttons(), "xx-x");
    cluster.write(batchFolder() + "/Executable/my_solver", "x");
    engine().checkIfExecutableWorksAndRun(false);
    ASSERT_TRUE(shows(panel().sourceStatus, "Executable exists"));
    EXPECT_EQ(buttons(), "x--x");
    EXPECT_THAT(flags(), HasSubstr("Executable Exists=YES"));
}

// It shares the batch's file, makes no work folder and submits nothing.
TEST_F(Batch, SetsUpOnceInAWindow)
{
    controller = app.openTaskWithName(wrapper.path());
    wrapper.plist("Remote Machine.plist", platform::Value::Dictionary{{"Host", "old"}, {"Queue", "q"}});
    const auto window = SVSetupForLSFController::newForTask(*controller, machine);
    machine->form().workDirectoryNameField.setStringValue("$(touch broken)");
    window->start();
    EXPECT_THAT(wrapper.lastLongMessage(), HasSubstr("holds other characters"));
    EXPECT_EQ(window->parts().sourceStatus.stringValue(), "");
    machine->form().workDirectoryNameField.setStringValue("");
    wrapper.plist("Remote Machine.plist", platform::Value::Dictionary{{"Host", "old"}, {"Queue", "q"}});
    window->start();
    EXPECT_EQ(window->parts().sourceStatus.stringValue(), "Copying source files");
    EXPECT_EQ(window->parts().inputStatus.stringValue(), "Copying input");
    ASSERT_TRUE(shows(window->parts().inputStatus, "Input tasks uploaded"));
    const std::string folder = batchFolder();
    ASSERT_TRUE(served([&] { return cluster.has(folder + "/Executable/my_solver"); }));
    EXPECT_EQ(flags(),
        "Host=cluster.test\nName of Executable=my_solver\nSources have been copied=YES\n"
        "Tasks have been copied=YES\n");
    EXPECT_THAT(cluster.names(folder), ElementsAre("0", "1", "2", "Executable", "Sources"));
    EXPECT_THAT(cluster.names(folder + "/0"), ElementsAre("input"));
    const std::string makefile = cluster.read(folder + "/Sources/Makefile");
    EXPECT_THAT(makefile, HasSubstr("CXXFLAGS = -Os\n"));
    EXPECT_THAT(makefile, HasSubstr("\t$(CXX) $(CXXFLAGS) $(OBJS) -o $(PROGRAM) $(LDLIBS)\n"));
    EXPECT_THAT(
        cluster.read(folder + "/Sources/SVCompileExecutable"), testing::Not(HasSubstr("CachedExecutables")));
    EXPECT_FALSE(cluster.has("scheduler/calls"));
    EXPECT_EQ(window->parts().taskProgress.doubleValue(), 100);
    EXPECT_THAT(wrapper.messages(),
        ElementsAre("Should remove the information from the old host",
            "The batch can not be set up on the cluster.",
            "Should remove the information from the old host"));
}

} // namespace
