#include "task/KRTrelkindController.h"
#include "task/Notifications.h"
#include "task/WrapperOnDisk.h"
#include "toolkit/Noted.h"

#include <gmock/gmock.h>

#include <array>
#include <map>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
namespace files = platform::files;

struct ListeningMachine : SVTaskMachine, SVRemoteOutputSource {
    explicit ListeningMachine(std::optional<std::string> called = "X", bool here = true)
        : name(std::move(called)), local(here)
    { }
    std::optional<std::string> machineName() const override { return name; }
    bool isLocal() const override { return local; }
    void abortJob(SVSingleTask&) override { ++aborts; }
    SVRemoteOutputSource* remoteOutputSource() override { return local ? nullptr : this; }
    void startListeningToOutput(SVSingleTask&) override { listening = true; }
    void stopListeningToOutput(SVSingleTask&) override { listening = false; }
    std::optional<std::string> getOutputLineNumber(int line, SVSingleTask&) override
    {
        ++fetched;
        return line == 1 ? std::nullopt : std::optional("line " + std::to_string(line));
    }
    std::optional<std::string> name;
    bool local;
    int aborts = 0;
    bool listening = false;
    int fetched = 0;
};

class SingleTask : public testing::Test {
protected:
    SingleTask() { open({{"InputFiles", platform::Value::Array{"input"}}}); }
    void open(platform::Value::Dictionary information)
    {
        information["Entry Description"] = platform::Value::Array{1};
        wrapper.plist("Info.plist", information);
        wrapper.write("0/input");
        controller = KRTrelkindController::createFromWrapperName(wrapper.path());
        task = controller->taskInformation().at(0);
        tasks.emplace(controller->views()->taskList);
        tasks->takeReload();
    }
    bool changes() // Updates the state and returns whether that reloads the task list.
    {
        task->updateBasedOnContent();
        return tasks->takeReload();
    }
    std::vector<std::string> listing() { return files::contentsOfDirectory(wrapper / "0").value(); }

    WrapperOnDisk wrapper;
    std::shared_ptr<KRTrelkindController> controller;
    std::shared_ptr<SVSingleTask> task;
    std::optional<toolkit::Noted> tasks; // What the task list has told.
};

TEST_F(SingleTask, ReadsItsStateFromTheMarkersInItsFolder)
{
    EXPECT_FALSE(SVSingleTask::createInsideProject(nullptr, 0, {}));
    const std::pair<std::vector<std::string>, std::array<bool, 3>> cases[] = {{{}, {false, false, false}},
        {{"runStarted"}, {true, false, false}}, {{"runStarted", "runCompleted"}, {true, true, false}},
        {{"runStarted", "aborted"}, {true, false, true}},
        {{"runCompleted", "aborted"}, {false, true, false}}};
    for (const auto& [markers, state] : cases) {
        task->clearData();
        for (const std::string& marker : markers)
            wrapper.write("0/VTask_" + marker);
        EXPECT_EQ(changes(), !markers.empty());
        EXPECT_THAT(
            state, ElementsAre(task->taskHasStarted(), task->taskHasFinished(), task->taskWasAborted()));
        EXPECT_EQ(task->taskShouldBeRun(), !state[0]);
        EXPECT_EQ(task->taskFraction(), state[1] ? 100 : 0);
    }
    EXPECT_TRUE(changes()) << "the ignored file is found again, and counts as a change each time";
    EXPECT_TRUE(changes());

    task->clearData();
    for (const auto& [bytes, percent] : {std::pair(0, 0), {1, 1}, {42, 42}, {100, 100}, {250, 100}}) {
        wrapper.write("0/SVProgress", std::string(static_cast<std::size_t>(bytes), '.'));
        task->updateBasedOnContent();
        EXPECT_EQ(task->taskFraction(), percent);
    }
    tasks->takeReload();
    EXPECT_FALSE(changes());
}

TEST_F(SingleTask, ListsAndScansFilesAgainOnlyAfterAChange)
{
    int scans = 0;
    SVFileContent::scanner() = [&](const std::string& path) {
        ++scans;
        EXPECT_TRUE(path.ends_with("/0/A.MAT"));
        SVFileContent content;
        content.names = {"x"};
        return content;
    };
    for (const char* name : {"0/.hidden", "0/VTask_runThis", "0/SVProgress", "0/runOutput", "0/A.MAT"})
        wrapper.write(name, "12345");
    task->updateBasedOnContent();
    EXPECT_THAT(task->fileList(), UnorderedElementsAre("input", "runOutput", "A.MAT"));
    EXPECT_EQ(task->informationForFile("runOutput")->size, 5U);
    EXPECT_FALSE(task->informationForFile("nothing"));
    EXPECT_EQ(task->contentForFile("A.MAT").names, std::vector<std::string>{"x"});
    EXPECT_FALSE(task->contentForFile("notes.txt").names);

    for (const std::size_t state : {0, 1}) {
        wrapper.write("0/runOutput", "much longer");
        wrapper.write("0/later");
        if (state == 1)
            wrapper.write("0/VTask_runStarted");
        task->updateBasedOnContent();
        EXPECT_EQ(task->informationForFile("runOutput")->size, state == 0 ? 5U : 11U);
        EXPECT_EQ(task->fileList().size(), 3 + state);
        EXPECT_EQ(&task->contentForFile("A.MAT"), &task->contentForFile("A.MAT"));
        EXPECT_EQ(scans, 1 + static_cast<int>(state));
    }
    wrapper.remove("0");
    task->updateBasedOnContent();
    EXPECT_THAT(task->fileList(), IsEmpty());
    SVFileContent::scanner() = nullptr;
}

TEST_F(SingleTask, ClearingRemovesEverythingButTheInputs)
{
    for (const char* name : {"0/.hidden", "0/VTask_aborted", "0/SVProgress", "0/runOutput", "0/more/deep"})
        wrapper.write(name, "x");
    wrapper.write("0/VTask_runStarted");
    task->updateBasedOnContent();
    task->clearData();
    EXPECT_THAT(listing(), ElementsAre("input"));
    EXPECT_TRUE(task->taskShouldBeRun());

    // Results alone: a single entry and the flags stay.
    wrapper.write("0/VTask_runStarted");
    task->updateBasedOnContent();
    task->removeComputedResults();
    EXPECT_THAT(listing(), ElementsAre("input"));
    EXPECT_TRUE(task->taskHasStarted());
    open({});
    task->removeComputedResults();
    EXPECT_THAT(listing(), ElementsAre("input"));
    task->clearData();
    EXPECT_THAT(listing(), IsEmpty()) << "without a list of inputs no file is kept";
}

// Each step with the status, the actions of the context menu, and whether the task list is reloaded.
TEST_F(SingleTask, FollowsItsEngines)
{
    ListeningMachine machine;
    ListeningMachine other("Y");
    std::map<std::string, std::string> titles;
    const auto menu = [&] {
        std::string actions;
        const auto shown = task->contextMenu();
        EXPECT_EQ(shown->title(), "  ");
        for (int i = 0; i < shown->count(); ++i) {
            titles[shown->item(i).action] = shown->item(i).title;
            actions += shown->item(i).action + (shown->isEnabled(i) ? " " : "off ");
        }
        return actions;
    };
    const struct {
        std::function<void()> call;
        const char* status;
        const char* menu;
        bool reloads = false;
    } steps[] = {
        {[&] { task->retrySCP(); }, "Empty", "foo:off "},
        {[&] { task->setShouldBeRun(true); }, "Will be run", "foo:off "},
        {[&] { task->submittedToWaitingQueOn(machine); }, "Waiting on X", "abortRun: ", true},
        {[&] { task->retrySCP(); }, "Waiting on X (retrying)", "abortRun:off "},
        {[&] { task->transferringInput(); }, "Transferring input to X (retrying)",
            "retrySCP:off abortSCP:off ", true},
        {[&] { task->failedAtTransferringOn(machine); }, "Will be run", "foo:off "},
        {[&] { task->submittedToWaitingQueOn(machine); }, "Waiting on X", "abortRun: ", true},
        {[&] { task->transferringInput(); }, "Transferring input to X", "retrySCP: abortSCP: ", true},
        {[&] { task->contextMenu()->choose(1); }, "Transferring input to X (aborting)",
            "retrySCP:off abortSCP:off "},
        {[&] { task->failedAtTransferringOn(machine); }, "Empty", "foo:off "},
        {[&] { task->setShouldBeRun(true); }, "Will be run", "foo:off "},
        {[&] { task->startedOn(machine); }, "Running on X", "abortRun: "},
        {[&] { notifications::postEngineDisconnected(other); }, "Running on X", "abortRun: ", true},
        {[&] { notifications::postEngineDisconnected(machine); }, "Will be run", "foo:off ", true},
        {[&] { task->startedOn(machine); }, "Running on X", "abortRun: "},
        {[&] { task->contextMenu()->choose(0); }, "Running on X (aborting)", "abortRun:off "},
        {[&] { task->transferringOutput(); }, "Transferring output from X (aborting)",
            "retrySCP:off abortSCP:off ", true},
        {[&] { task->finishedOn(machine); }, "Empty", "foo:off ", true},
    };
    for (const auto& [call, status, actions, reloads] : steps) {
        call();
        EXPECT_EQ(task->statusString(), status);
        EXPECT_EQ(menu(), actions) << status;
        EXPECT_EQ(tasks->takeReload(), reloads) << status;
        EXPECT_EQ(task->waitingToBeSubmitted(), status == std::string("Will be run"));
        EXPECT_EQ(task->isEmpty(), actions == std::string("foo:off "));
    }
    EXPECT_EQ(machine.aborts, 1);
    EXPECT_EQ(titles["retrySCP:"] + titles["abortSCP:"], "Retry transferAbort Task");
    EXPECT_EQ(titles["abortRun:"] + titles["foo:"], "Abort TaskNothing");
    EXPECT_THAT(task->description(), testing::MatchesRegex("<0x.* - #0 - Empty"));
}

TEST_F(SingleTask, AMachineThatFailedIsLeftOutUntilTheWishChanges)
{
    ListeningMachine failed;
    task->setShouldBeRun(true);
    task->failedAtTransferringOn(failed);
    EXPECT_TRUE(task->canSubmitTo(ListeningMachine("Y")));
    EXPECT_TRUE(task->canSubmitTo(ListeningMachine(std::nullopt)));
    task->setShouldBeRun(true);
    EXPECT_FALSE(task->canSubmitTo(failed));
    task->setShouldBeRun(false);
    EXPECT_TRUE(task->canSubmitTo(failed));
}

TEST_F(SingleTask, EndingEndsACopyToo)
{
    ListeningMachine machine;
    const auto copy = [this] {
        auto process = platform::Process::launch({"/bin/sleep", {"60"}, "/"}).value_or(nullptr);
        task->setSCPTask(process);
        return process;
    };
    task->submittedToWaitingQueOn(machine);
    task->transferringInput();
    const auto input = copy();
    task->stoppedSCPTask(nullptr);
    task->abortRun();
    EXPECT_EQ(machine.aborts, 0) << "the end of the copy tells the machine";
    EXPECT_TRUE(input->waitUntilExit(10));
    task->aborted();
    EXPECT_TRUE(task->isEmpty());
    task->submittedToWaitingQueOn(machine);
    task->abortRun();
    EXPECT_EQ(machine.aborts, 1);
    task->startedOn(machine);
    task->abortJob();
    EXPECT_EQ(machine.aborts, 2);
    task->transferringOutput();
    const auto output = copy();
    task->engineGotDisconnected(machine);
    EXPECT_TRUE(output->waitUntilExit(10));
    EXPECT_EQ(task->runningOn(), nullptr);
}

TEST_F(SingleTask, FetchesEachLineOfARemoteRunOnceAndFollowsItsEnd)
{
    toolkit::Table& table = controller->views()->outputFromProgram;
    toolkit::View& clip = *table.superview();
    clip.setBounds({0, 0, 100, 20});
    table.setRowHeight(10);
    ListeningMachine machine{"X", false};
    task->selectedInView(&table);
    const auto* file = table.dataSource();
    task->startedOn(machine);
    EXPECT_TRUE(machine.listening);
    task->setNumberOfOutputLines(2);
    EXPECT_EQ(clip.bounds().y, 0) << "nothing was there to follow";
    task->setNumberOfOutputLines(4);
    EXPECT_EQ(clip.bounds().y, 20);
    EXPECT_EQ(toolkit::cellText(table.value("Line", 0)), "line 0");
    EXPECT_EQ(toolkit::cellText(table.value("Line", 1)), "");
    table.value("Line", 1);
    EXPECT_EQ(machine.fetched, 2);
    clip.setBounds({0, 0, 100, 20});
    task->setNumberOfOutputLines(9);
    EXPECT_EQ(clip.bounds().y, 0) << "the user looks at the beginning";
    task->setNumberOfOutputLines(3);
    table.value("Line", 0);
    EXPECT_EQ(machine.fetched, 3) << "fewer lines mean new ones";
    task->deselectFromView();
    EXPECT_FALSE(machine.listening);
    EXPECT_EQ(table.dataSource(), nullptr);
    task->selectedInView(&table);
    EXPECT_TRUE(machine.listening);
    task->finishedOn(machine);
    EXPECT_EQ(table.dataSource(), file);
    task->deselectFromView();
    EXPECT_EQ(table.dataSource(), nullptr);
}

TEST_F(SingleTask, AfterItsProjectHasGoneItTouchesNothing)
{
    ListeningMachine far("X", false);
    toolkit::Table& table = controller->views()->outputFromProgram;
    wrapper.write("0/runOutput");
    for (const bool isRemote : {false, true}) {
        const auto shown = SVSingleTask::createInsideProject(controller.get(), 0, {});
        shown->selectedInView(&table);
        if (isRemote)
            shown->startedOn(far);
        EXPECT_NE(table.dataSource(), controller.get());
        shown->removeFromProject();
        EXPECT_EQ(table.dataSource(), nullptr);
        tasks->takeReload();
        shown->clearData();
        shown->finishedOn(far);
        EXPECT_FALSE(tasks->takeReload());
        EXPECT_EQ(shown->createTask(), nullptr);
    }
    EXPECT_THAT(listing(), UnorderedElementsAre("input", "runOutput"));
}

} // namespace
