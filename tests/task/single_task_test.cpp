#include "task/SVSingleTask.h"
#include "task/WrapperOnDisk.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <tuple>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
namespace files = platform::files;

// A controller that only remembers what it is told.
class Project : public SVTaskController {
public:
    explicit Project(std::string wrapper) : wrapper_(std::move(wrapper)) { }
    const std::string& wrapperName() const override { return wrapper_; }
    std::int64_t serialNumber() const override { return 1; }
    const std::optional<std::string>& executable() const override { return program; }
    const std::optional<std::string>& executableMD5() const override { return none; }
    const std::optional<std::vector<std::string>>& inputFiles() const override { return inputs; }
    const std::vector<std::shared_ptr<SVSingleTask>>& taskInformation() const override { return tasks; }
    std::optional<std::string> xCodeProject() const override { return {}; }
    std::string arguments() const override { return {}; }
    toolkit::Table* outputTable() const override { return table; }
    void changeInTask(SVSingleTask&) override { told.push_back("change"); }
    void reloadTaskList() override { ++reloads; }
    bool inputFilesAreUnknown() const override { return false; }
    bool isStillEnding(const SVSingleTask&) const override { return false; }
    std::shared_ptr<platform::FolderLock> lockForRunning() override { return nullptr; }
    bool isRunningHere() const override { return false; }
    void startedComputingTask(SVSingleTask&, SVTaskMachine*) override { told.push_back("started"); }
    void finishedTask(SVSingleTask&, SVTaskMachine*) override { told.push_back("finished"); }
    void changeRunningStatus(SVSingleTask&, const std::string&, SVTaskMachine*) override { }
    void putTaskBackIntoQue(SVSingleTask&) override { told.push_back("back"); }
    void fillEngines() override { told.push_back("fill"); }
    void cancelAllJobs() override { }
    void endAllTasks() override { }

    std::vector<std::string> takeTold() { return std::exchange(told, {}); }

    std::optional<std::string> program = "program";
    std::optional<std::string> none;
    std::optional<std::vector<std::string>> inputs = std::vector<std::string>{"input"};
    std::vector<std::shared_ptr<SVSingleTask>> tasks;
    toolkit::Table* table = nullptr;
    std::vector<std::string> told;
    int reloads = 0;

private:
    std::string wrapper_;
};

struct ListeningMachine : SVTaskMachine, SVRemoteOutputSource {
    ListeningMachine() = default;
    ListeningMachine(std::optional<std::string> called, bool here) : name(std::move(called)), local(here) { }
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
    std::optional<std::string> name = "X";
    bool local = true;
    int aborts = 0;
    bool listening = false;
    int fetched = 0;
};

class SingleTask : public testing::Test {
protected:
    SingleTask()
    {
        wrapper.tasks({"-a b"});
        task = SVSingleTask::createInsideProject(
            &project, 0, platform::Value::Dictionary{{"Argument", "-a b"}, {"Time Value", 2.5}});
    }
    std::vector<std::string> listing() { return files::contentsOfDirectory(wrapper / "0").value(); }

    WrapperOnDisk wrapper;
    Project project{wrapper.path()};
    std::shared_ptr<SVSingleTask> task;
};

TEST_F(SingleTask, ReadsItsStateFromTheMarkersInItsFolder)
{
    EXPECT_FALSE(SVSingleTask::createInsideProject(nullptr, 0, {}));
    EXPECT_THAT(project.takeTold(), IsEmpty());
    const struct {
        std::vector<const char*> markers;
        bool started, finished, aborted;
    } cases[] = {
        {{}, false, false, false},
        {{"VTask_runStarted"}, true, false, false},
        {{"VTask_runStarted", "VTask_runCompleted"}, true, true, false},
        {{"VTask_runStarted", "VTask_aborted"}, true, false, true},
        {{"VTask_runCompleted", "VTask_aborted"}, false, true, false},
    };
    for (const auto& [markers, started, finished, aborted] : cases) {
        task->clearData();
        for (const char* marker : markers)
            wrapper.write(std::string("0/") + marker);
        task->updateBasedOnContent();
        EXPECT_EQ(task->taskHasStarted(), started);
        EXPECT_EQ(task->taskHasFinished(), finished);
        EXPECT_EQ(task->taskWasAborted(), aborted);
        EXPECT_EQ(task->taskShouldBeRun(), !started);
        EXPECT_EQ(task->taskFraction(), finished ? 100 : 0);
    }
    // The aborted file is found and set aside each time anew, and each time that is a change.
    project.takeTold();
    task->updateBasedOnContent();
    task->updateBasedOnContent();
    EXPECT_THAT(project.takeTold(), ElementsAre("change", "change"));
}

TEST_F(SingleTask, ProgressIsTheSizeOfAFileHeldToAHundred)
{
    for (const auto& [bytes, percent] : {std::pair(0, 0), {1, 1}, {42, 42}, {100, 100}, {250, 100}}) {
        wrapper.write("0/SVProgress", std::string(static_cast<std::size_t>(bytes), '.'));
        task->updateBasedOnContent();
        EXPECT_EQ(task->taskFraction(), percent);
    }
    project.takeTold();
    task->updateBasedOnContent();
    EXPECT_THAT(project.takeTold(), IsEmpty()) << "nothing has changed";
    std::ignore = files::remove(wrapper / "0/SVProgress");
    task->updateBasedOnContent();
    EXPECT_EQ(task->taskFraction(), 0);
}

TEST_F(SingleTask, ListsTheFilesThatAreNotTheSystemsOwnUntilTheStateChanges)
{
    for (const char* name : {"0/.hidden", "0/VTask_runThis", "0/SVProgress", "0/runOutput", "0/result.svbin"})
        wrapper.write(name, "12345");
    task->updateBasedOnContent();
    EXPECT_THAT(task->fileList(), UnorderedElementsAre("input", "runOutput", "result.svbin"));
    EXPECT_EQ(task->informationForFile("runOutput")->size, 5U);
    EXPECT_FALSE(task->informationForFile("nothing"));

    wrapper.write("0/runOutput", "much longer");
    wrapper.write("0/later");
    task->updateBasedOnContent();
    EXPECT_EQ(task->informationForFile("runOutput")->size, 5U) << "kept, for no marker has changed";
    EXPECT_EQ(task->fileList().size(), 3U);
    wrapper.write("0/VTask_runStarted");
    task->updateBasedOnContent();
    EXPECT_EQ(task->informationForFile("runOutput")->size, 11U);
    EXPECT_EQ(task->fileList().size(), 4U);

    std::ignore = files::remove(wrapper / "0");
    task->updateBasedOnContent();
    EXPECT_THAT(task->fileList(), IsEmpty());
}

TEST_F(SingleTask, ScansADataFileOnceBetweenChanges)
{
    int scans = 0;
    SVFileContent::scanner() = [&](const std::string& path) {
        ++scans;
        EXPECT_TRUE(path.ends_with("/0/A.MAT"));
        SVFileContent content;
        content.names = {"x"};
        return content;
    };
    EXPECT_EQ(task->contentForFile("A.MAT").names, std::vector<std::string>{"x"});
    EXPECT_EQ(&task->contentForFile("A.MAT"), &task->contentForFile("A.MAT"));
    EXPECT_FALSE(task->contentForFile("notes.txt").names);
    EXPECT_EQ(scans, 1);
    wrapper.write("0/VTask_runStarted");
    task->updateBasedOnContent();
    task->contentForFile("A.MAT");
    EXPECT_EQ(scans, 2);
    SVFileContent::scanner() = nullptr;
}

TEST_F(SingleTask, ClearingRemovesEverythingButTheInputs)
{
    for (const char* name :
        {"0/.hidden", "0/VTask_runStarted", "0/VTask_aborted", "0/SVProgress", "0/runOutput"})
        wrapper.write(name, "x");
    EXPECT_TRUE(files::createDirectory(wrapper / "0/more"));
    wrapper.write("0/more/deep");
    task->updateBasedOnContent();
    task->clearData();
    EXPECT_THAT(listing(), ElementsAre("input"));
    EXPECT_TRUE(task->taskShouldBeRun());

    project.inputs.reset();
    task->clearData();
    EXPECT_THAT(listing(), IsEmpty()) << "without a list of inputs none is spared";
}

TEST_F(SingleTask, RemovingResultsLeavesASingleEntryAndTheFlagsAlone)
{
    wrapper.write("0/VTask_runStarted");
    task->updateBasedOnContent();
    task->removeComputedResults();
    EXPECT_THAT(listing(), ElementsAre("input"));
    EXPECT_TRUE(task->taskHasStarted()) << "stale until the next look";
    std::ignore = files::remove(wrapper / "0/input");
    wrapper.write("0/runOutput");
    task->removeComputedResults();
    EXPECT_THAT(listing(), ElementsAre("runOutput"));
}

TEST_F(SingleTask, TellsItsEngineStateInWords)
{
    ListeningMachine machine;
    const auto status = [&] { return task->statusString(); };
    EXPECT_EQ(status(), "Empty");
    task->setAbortStatus(SVSingleTask::RetryTransfer);
    EXPECT_EQ(status(), "Empty");
    task->setShouldBeRun(true);
    EXPECT_EQ(task->abortStatus(), SVSingleTask::NoAbort);
    EXPECT_TRUE(task->waitingToBeSubmitted());
    EXPECT_EQ(status(), "Will be run");
    task->submittedToWaitingQueOn(machine);
    EXPECT_FALSE(task->waitingToBeSubmitted());
    EXPECT_EQ(status(), "Waiting on X");
    task->retrySCP();
    EXPECT_EQ(status(), "Waiting on X (retrying)");
    task->transferringInput();
    task->abortSCP();
    EXPECT_EQ(status(), "Transferring input to X (aborting)");
    task->setAbortStatus(SVSingleTask::NoAbort);
    task->startedOn(machine);
    EXPECT_EQ(status(), "Running on X");
    task->transferringOutput();
    EXPECT_EQ(status(), "Transferring output from X");
    task->finishedOn(machine);
    EXPECT_EQ(status(), "Empty");
    EXPECT_TRUE(task->isEmpty());
    EXPECT_THAT(project.takeTold(), ElementsAre("started", "finished"));
    EXPECT_EQ(project.reloads, 3);
    EXPECT_THAT(task->description(), testing::EndsWith(" - #0 - Empty"));
}

TEST_F(SingleTask, AMachineThatFailedIsLeftOutUntilTheWishChanges)
{
    ListeningMachine failed;
    const ListeningMachine other{"Y", true};
    const ListeningMachine nameless{std::nullopt, true};
    task->setShouldBeRun(true);
    task->submittedToWaitingQueOn(failed);
    task->transferringInput();
    task->setAbortStatus(SVSingleTask::Abort);
    task->failedAtTransferringOn(failed);
    EXPECT_FALSE(task->shouldBeRun());
    EXPECT_EQ(task->abortStatus(), SVSingleTask::NoAbort);
    EXPECT_THAT(project.takeTold(), ElementsAre("fill"));
    EXPECT_FALSE(task->canSubmitTo(failed));
    EXPECT_TRUE(task->canSubmitTo(other));
    EXPECT_TRUE(task->canSubmitTo(nameless));
    task->setShouldBeRun(false);
    EXPECT_FALSE(task->canSubmitTo(failed));
    task->setShouldBeRun(true);
    EXPECT_TRUE(task->canSubmitTo(failed));
}

TEST_F(SingleTask, OnlyItsOwnMachineCanLeaveIt)
{
    ListeningMachine machine;
    ListeningMachine other;
    task->startedOn(machine);
    project.takeTold();
    task->engineGotDisconnected(other);
    EXPECT_TRUE(task->isRunning());
    EXPECT_THAT(project.takeTold(), IsEmpty());
    task->engineGotDisconnected(machine);
    EXPECT_FALSE(task->hasBeenCommitted());
    EXPECT_EQ(task->runningOn(), nullptr);
    EXPECT_THAT(project.takeTold(), ElementsAre("back"));
}

std::vector<std::string> itemsOf(const toolkit::Menu& menu)
{
    std::vector<std::string> items;
    for (int i = 0; i < menu.count(); ++i)
        items.push_back(
            menu.item(i).title + "|" + menu.item(i).action + (menu.isEnabled(i) ? "|on" : "|off"));
    return items;
}

TEST_F(SingleTask, OffersWhatCanBeDoneNowInItsMenu)
{
    ListeningMachine machine;
    EXPECT_THAT(itemsOf(*task->contextMenu()), ElementsAre("Nothing|foo:|off"));
    EXPECT_EQ(task->contextMenu()->title(), "  ");
    task->submittedToWaitingQueOn(machine);
    EXPECT_THAT(itemsOf(*task->contextMenu()), ElementsAre("Abort Task|abortRun:|on"));
    task->transferringInput();
    auto menu = task->contextMenu();
    EXPECT_THAT(itemsOf(*menu), ElementsAre("Retry transfer|retrySCP:|on", "Abort Task|abortSCP:|on"));
    menu->choose(0);
    EXPECT_TRUE(task->copyShouldBeRetried());
    EXPECT_THAT(itemsOf(*task->contextMenu()),
        ElementsAre("Retry transfer|retrySCP:|off", "Abort Task|abortSCP:|off"));
    task->setAbortStatus(SVSingleTask::NoAbort);
    task->startedOn(machine);
    menu = task->contextMenu();
    EXPECT_THAT(itemsOf(*menu), ElementsAre("Abort Task|abortRun:|on"));
    menu->choose(0);
    EXPECT_TRUE(task->taskShouldBeAborted());
    EXPECT_EQ(machine.aborts, 1);
}

TEST_F(SingleTask, AnAbortGoesToTheMachineThatHasItAndEndsACopy)
{
    ListeningMachine machine;
    task->submittedToWaitingQueOn(machine);
    task->transferringInput();
    const auto copy = platform::Process::launch({"/bin/sleep", {"60"}, "/"});
    ASSERT_TRUE(copy);
    task->setSCPTask(*copy);
    task->abortRun();
    EXPECT_EQ(machine.aborts, 0) << "the end of the copy tells the machine";
    EXPECT_TRUE((*copy)->waitUntilExit(10));
    task->aborted();
    EXPECT_TRUE(task->isEmpty());
    task->submittedToWaitingQueOn(machine);
    task->abortRun();
    EXPECT_EQ(machine.aborts, 1);
}

TEST_F(SingleTask, FetchesEachLineOfARemoteRunOnceAndFollowsItsEnd)
{
    toolkit::View clip;
    toolkit::Table table;
    clip.setBounds({0, 0, 100, 20});
    table.setRowHeight(10);
    clip.addSubview(table);
    project.table = &table;
    ListeningMachine machine{"X", false};
    task->selectedInView(&table);
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
}

TEST_F(SingleTask, AfterItsProjectHasGoneItTouchesNothing)
{
    wrapper.write("0/runOutput");
    task->removeFromProject();
    task->clearData();
    task->removeComputedResults();
    EXPECT_THAT(listing(), UnorderedElementsAre("input", "runOutput"));
    EXPECT_EQ(task->controller(), nullptr);
    EXPECT_EQ(task->createTask(), nullptr);
    ListeningMachine machine;
    task->startedOn(machine);
    task->finishedOn(machine);
    EXPECT_THAT(project.takeTold(), IsEmpty());
}

} // namespace
