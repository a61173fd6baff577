#include "apps/composition/Composition.h"
#include "platform/loop/Pace.h"
#include "remote/cluster/LoopbackCluster.h"
#include "remote/cluster/SVSetupForLSFController.h"
#include "remote/machines/ClusterNames.h"
#include "task/application/KRTrelkindApplication.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Writes a file from its input, slowly enough to be seen at work.
constexpr const char* kSolver = R"(
#include <cstdio>
int main()
{
    char text[100] = "";
    FILE* input = std::fopen("input", "r");
    std::fgets(text, sizeof text, input);
    std::printf("read %s\n", text);
    FILE* results = std::fopen("results.txt", "w");
    std::fprintf(results, "result of %s", text);
    std::fclose(results);
}
)";

class Batch : public testing::Test {
protected:
    void SetUp() override
    {
        if (!cluster.works())
            GTEST_SKIP() << "A server with an account of its own needs to be root.";
        wrapper.executable("local", "my solver").tasks({"", "", ""});
        wrapper.information("Project Name", makeProject(wrapper.folder() / "project", kSolver));
        resetRuns();
        ASSERT_EQ(machinefolder::check(*cluster.login(), "TrelkindWorkDirectory"), "Worked");
    }
    void TearDown() override { platform::Pace::setFactor(1); }
    SVTrelkindEngineLSF& engine() { return static_cast<SVTrelkindEngineLSF&>(*controller->engine()); }
    LsfAddition& panel() { return engine().panel(); }
    void open()
    {
        controller = app.openTaskWithName(wrapper.path());
        if (!controller->engine())
            controller->connectMachine(*machine, "short");
    }
    // As at the program's end: an operation that is under way still saves its flag.
    void close()
    {
        std::weak_ptr<SVTrelkindEngine> engineBefore;
        if (controller->engine())
            engineBefore = std::static_pointer_cast<SVTrelkindEngine>(engine().shared_from_this());
        EXPECT_TRUE(controller->windowShouldClose());
        controller.reset();
        EXPECT_TRUE(served([&] { return engineBefore.expired(); }));
    }
    void reopen()
    {
        close();
        open();
    }
    // The runs as they were before the batch.
    void resetRuns()
    {
        for (const char* run : {"0", "1", "2"}) {
            std::filesystem::remove_all(wrapper / run);
            wrapper.write(std::string(run) + "/input", std::string("input ") + run);
        }
    }
    static bool shows(const toolkit::TextField& line, const std::string& text)
    {
        return served([&] { return line.stringValue() == text; }, 20);
    }
    // The retry buttons that are seen.
    std::string buttons()
    {
        std::string seen;
        for (const toolkit::Button* button : {&panel().checkWorkFolderButton, &panel().checkAgainButton,
                 &panel().checkTaskUploadButton, &panel().checkOutputButton})
            seen += button->isHidden() ? '-' : 'x';
        return seen;
    }
    std::string lines()
    {
        return panel().directoryNameField.stringValue() + "; " + panel().sourceStatus.stringValue() + "; "
            + panel().inputStatus.stringValue() + "; " + panel().outputStatus.stringValue() + "; "
            + panel().makeOutputView.string();
    }
    void expectWholeBatch(int submissions = 1)
    {
        ASSERT_TRUE(served([&] { return !controller->engine(); }, 20)) << lines();
        for (const char* run : {"0", "1", "2"}) {
            const std::string folder(run);
            EXPECT_EQ(wrapper.read(folder + "/runOutput"), "read input " + folder + "\n");
            EXPECT_EQ(wrapper.read(folder + "/results.txt"), "result of input " + folder);
            EXPECT_FALSE(wrapper.has(folder + "/my_solver")) << "the job script stays on the cluster";
        }
        EXPECT_FALSE(wrapper.has("Remote Machine.plist"));
        EXPECT_THAT(cluster.names("TrelkindWorkDirectory"), ElementsAre("CachedExecutables"));
        EXPECT_EQ(std::ranges::count(cluster.read("scheduler/calls"), '\n'), 3 * submissions);
    }
    // What the batch's file holds; its texts that no two runs share are left out.
    std::string flags() const
    {
        std::string told;
        const auto stored = platform::propertylist::readFile(wrapper / "Remote Machine.plist");
        if (stored && stored->dictionary())
            for (const auto& [key, value] : *stored->dictionary())
                if (key != "UUID" && key != "User Name")
                    told += key + "=" + (value.text() ? *value.text() : "?") + "\n";
        return told;
    }
    std::string batchFolder() const { return "TrelkindWorkDirectory/" + uuid(); }
    std::string uuid() const
    {
        BatchFile file(wrapper.path());
        file.load();
        return file.text(BatchFile::kUuid).value_or("");
    }
    // The file of a batch that has come so far.
    void begun(const std::vector<const char*>& withFlags)
    {
        platform::Value::Dictionary stored{
            {"Host", LoopbackCluster::kName}, {"UUID", "01234567-89AB-CDEF-0123-456789ABCDEF"}};
        for (const char* flag : withFlags)
            stored[flag] = "YES";
        wrapper.plist("Remote Machine.plist", stored);
    }

    Program program;
    WrapperOnDisk wrapper;
    KRTrelkindApplication app;
    LoopbackCluster cluster;
    std::shared_ptr<KRTrelkindMachineLSF> machine = [this] {
        auto made = cluster.machine();
        app.machines().addControllerToEnd(made);
        return made;
    }();
    std::shared_ptr<KRTrelkindController> controller;
};

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
