#include "task/SVSingleTask.h"
#include "task/WrapperOnDisk.h"

#include <gmock/gmock.h>

#include <array>
#include <map>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
namespace files = platform::files;

// A controller that records what it is told.
class Project : public SVTaskController {
public:
    explicit Project(std::string wrapper) : wrapper_(std::move(wrapper)) { }
    const std::string& wrapperName() const override { return wrapper_; }
    std::int64_t serialNumber() const override { return 1; }
    const std::optional<std::string>& executable() const override { return none; }
    const std::optional<std::string>& executableMD5() const override { return none; }
    const std::optional<std::vector<std::string>>& inputFiles() const override { return inputs; }
    const std::vector<std::shared_ptr<SVSingleTask>>& taskInformation() const override { return tasks; }
    std::optional<std::string> xCodeProject() const override { return {}; }
    std::string arguments() const override { return {}; }
    toolkit::Table* outputTable() const override { return table; }
    void changeInTask(SVSingleTask&) override { told += "change "; }
    void reloadTaskList() override { told += "reload "; }
    bool inputFilesAreUnknown() const override { return false; }
    bool isStillEnding(const SVSingleTask&) const override { return false; }
    std::shared_ptr<platform::FolderLock> lockForRunning() override { return nullptr; }
    bool isRunningHere() const override { return false; }
    void startedComputingTask(SVSingleTask&, SVTaskMachine*) override { told += "started "; }
    void finishedTask(SVSingleTask&, SVTaskMachine*) override { told += "finished "; }
    void changeRunningStatus(SVSingleTask&, const std::string&, SVTaskMachine*) override { }
    void putTaskBackIntoQue(SVSingleTask&) override { told += "back "; }
    void fillEngines() override { told += "fill "; }
    void cancelAllJobs() override { }
    void endAllTasks() override { }

    std::string takeTold() { return std::exchange(told, {}); }

    std::optional<std::vector<std::string>> inputs = std::vector<std::string>{"input"};
    toolkit::Table* table = nullptr;

private:
    std::string wrapper_;
    std::string told;
    std::optional<std::string> none;
    std::vector<std::shared_ptr<SVSingleTask>> tasks;
};

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
    SingleTask()
    {
        wrapper.tasks({"-a b"});
        task = SVSingleTask::createInsideProject(&project, 0, {});
    }
    std::vector<std::string> listing() { return files::contentsOfDirectory(wrapper / "0").value(); }

    WrapperOnDisk wrapper;
    Project project{wrapper.path()};
    std::shared_ptr<SVSingleTask> task;
};

TEST_F(SingleTask, ReadsItsStateFromTheMarkersInItsFolder)
{
    EXPECT_FALSE(SVSingleTask::createInsideProject(nullptr, 0, {}));
    EXPECT_EQ(project.takeTold(), "");
    using Markers = std::vector<std::string>;
    const std::pair<Markers, std::array<bool, 3>> cases[] = {{{}, {false, false, false}},
        {{"runStarted"}, {true, false, false}}, {{"runStarted", "runCompleted"}, {true, true, false}},
        {{"runStarted", "aborted"}, {true, false, true}},
        {{"runCompleted", "aborted"}, {false, true, false}}};
    for (const auto& [markers, state] : cases) {
        task->clearData();
        for (const std::string& marker : markers)
            wrapper.write("0/VTask_" + marker);
        task->updateBasedOnContent();
        EXPECT_THAT(
            state, ElementsAre(task->taskHasStarted(), task->taskHasFinished(), task->taskWasAborted()));
        EXPECT_EQ(task->taskShouldBeRun(), !state[0]);
        EXPECT_EQ(task->taskFraction(), state[1] ? 100 : 0);
    }
    // The file is ignored but still there, so each call counts a change.
    project.takeTold();
    task->updateBasedOnContent();
    task->updateBasedOnContent();
    EXPECT_EQ(project.takeTold(), "change change ");

    task->clearData();
    for (const auto& [bytes, percent] : {std::pair(0, 0), {1, 1}, {42, 42}, {100, 100}, {250, 100}}) {
        wrapper.write("0/SVProgress", std::string(static_cast<std::size_t>(bytes), '.'));
        task->updateBasedOnContent();
        EXPECT_EQ(task->taskFraction(), percent);
    }
    project.takeTold();
    task->updateBasedOnContent();
    EXPECT_EQ(project.takeTold(), "") << "nothing has changed";
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
    project.inputs.reset();
    task->removeComputedResults();
    EXPECT_THAT(listing(), ElementsAre("input"));
    task->clearData();
    EXPECT_THAT(listing(), IsEmpty()) << "without a list of inputs no file is kept";
}

// Each step with the status, the actions of the context menu and what the controller is told.
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
        const char* told = "";
    } steps[] = {
        {[&] { task->retrySCP(); }, "Empty", "foo:off "},
        {[&] { task->setShouldBeRun(true); }, "Will be run", "foo:off "},
        {[&] { task->submittedToWaitingQueOn(machine); }, "Waiting on X", "abortRun: ", "reload "},
        {[&] { task->retrySCP(); }, "Waiting on X (retrying)", "abortRun:off "},
        {[&] { task->transferringInput(); }, "Transferring input to X (retrying)",
            "retrySCP:off abortSCP:off ", "reload "},
        {[&] { task->failedAtTransferringOn(machine); }, "Will be run", "foo:off ", "fill "},
        {[&] { task->submittedToWaitingQueOn(machine); }, "Waiting on X", "abortRun: ", "reload "},
        {[&] { task->transferringInput(); }, "Transferring input to X", "retrySCP: abortSCP: ", "reload "},
        {[&] { task->contextMenu()->choose(1); }, "Transferring input to X (aborting)",
            "retrySCP:off abortSCP:off "},
        {[&] { task->failedAtTransferringOn(machine); }, "Empty", "foo:off ", "fill "},
        {[&] { task->setShouldBeRun(true); }, "Will be run", "foo:off "},
        {[&] { task->startedOn(machine); }, "Running on X", "abortRun: ", "started "},
        {[&] { task->engineGotDisconnected(other); }, "Running on X", "abortRun: "},
        {[&] { task->engineGotDisconnected(machine); }, "Will be run", "foo:off ", "back "},
        {[&] { task->startedOn(machine); }, "Running on X", "abortRun: ", "started "},
        {[&] { task->contextMenu()->choose(0); }, "Running on X (aborting)", "abortRun:off "},
        {[&] { task->transferringOutput(); }, "Transferring output from X (aborting)",
            "retrySCP:off abortSCP:off ", "reload "},
        {[&] { task->finishedOn(machine); }, "Empty", "foo:off ", "finished "},
    };
    for (const auto& [call, status, actions, told] : steps) {
        call();
        EXPECT_EQ(task->statusString(), status);
        EXPECT_EQ(menu(), actions) << status;
        EXPECT_EQ(project.takeTold(), told) << status;
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
    toolkit::View clip;
    toolkit::Table table;
    clip.setBounds({0, 0, 100, 20});
    table.setRowHeight(10);
    clip.addSubview(table);
    project.table = &table;
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
    toolkit::Table table;
    project.table = &table;
    wrapper.write("0/runOutput");
    for (const bool isRemote : {false, true}) {
        const auto shown = SVSingleTask::createInsideProject(&project, 0, {});
        shown->selectedInView(&table);
        if (isRemote)
            shown->startedOn(far);
        EXPECT_NE(table.dataSource(), nullptr);
        shown->removeFromProject();
        EXPECT_EQ(table.dataSource(), nullptr);
        project.takeTold();
        shown->clearData();
        shown->finishedOn(far);
        EXPECT_EQ(project.takeTold(), "");
        EXPECT_EQ(shown->createTask(), nullptr);
    }
    EXPECT_THAT(listing(), UnorderedElementsAre("input", "runOutput"));
}

} // namespace
