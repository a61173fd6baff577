// One task of an open wrapper.

#include "task/OpenController.h"
#include "task/single/Notifications.h"

#include <gmock/gmock.h>

#include <array>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::UnorderedElementsAre;
using toolkit::cellText;

using SingleTask = Controller;

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

TEST_F(SingleTask, ListsAndUpdatesFilesOnlyAfterAChange)
{
    Scanned scanned;
    for (const char* name : {"0/.hidden", "0/VTask_runThis", "0/SVProgress", "0/runOutput", "0/A.MAT"})
        wrapper.write(name, "12345");
    task->updateBasedOnContent();
    EXPECT_THAT(task->fileList(), UnorderedElementsAre("input", "runOutput", "A.MAT"));
    EXPECT_EQ(task->informationForFile("runOutput")->size, 5U);
    EXPECT_FALSE(task->informationForFile("nothing"));
    const auto content = task->contentForFile("A.MAT");
    EXPECT_FALSE(task->contentForFile("notes.txt"));

    for (const std::size_t state : {0, 1}) {
        wrapper.write("0/runOutput", "much longer");
        wrapper.write("0/later");
        if (state == 1)
            wrapper.write("0/VTask_runStarted");
        task->updateBasedOnContent();
        EXPECT_EQ(task->informationForFile("runOutput")->size, state == 0 ? 5U : 11U);
        EXPECT_EQ(task->fileList().size(), 3 + state);
        EXPECT_EQ(task->contentForFile("A.MAT"), content);
        EXPECT_EQ(task->contentForFile("A.MAT"), content);
        EXPECT_EQ(scanned.updates, static_cast<int>(state));
    }
    wrapper.remove("0");
    task->updateBasedOnContent();
    EXPECT_THAT(task->fileList(), IsEmpty());
    EXPECT_NE(task->contentForFile("A.MAT"), content) << "a later file of the name is another one";
    EXPECT_EQ(scanned.count, 2);
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
    wrapper.plist("Info.plist", platform::Value::Dictionary{{"TimeValues", platform::Value::Array{1}}});
    open();
    task->removeComputedResults();
    EXPECT_THAT(listing(), ElementsAre("input"));
    task->clearData();
    EXPECT_THAT(listing(), IsEmpty()) << "without a list of inputs no file is kept";
}

// Each step with the status, the actions of the context menu, whether the task list is reloaded, and whether
// the machine is excluded because a transfer to it has failed.
TEST_F(SingleTask, FollowsItsEngines)
{
    Machine machine;
    Machine other("Y");
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
        bool reloads = false, isExcluded = false;
    } steps[] = {
        {[&] { task->retrySCP(); }, "Empty", "foo:off "},
        {[&] { task->setShouldBeRun(true); }, "Will be run", "foo:off "},
        {[&] { task->submittedToWaitingQueOn(machine); }, "Waiting on X", "abortRun: ", true},
        {[&] { task->retrySCP(); }, "Waiting on X (retrying)", "abortRun:off "},
        {[&] { task->transferringInput(); }, "Transferring input to X (retrying)",
            "retrySCP:off abortSCP:off ", true},
        {[&] { task->failedAtTransferringOn(machine); }, "Will be run", "foo:off ", false, true},
        {[&] { task->submittedToWaitingQueOn(machine); }, "Waiting on X", "abortRun: ", true, true},
        {[&] { task->transferringInput(); }, "Transferring input to X", "retrySCP: abortSCP: ", true, true},
        {[&] { task->contextMenu()->choose(1); }, "Transferring input to X (aborting)",
            "retrySCP:off abortSCP:off ", false, true},
        {[&] { task->failedAtTransferringOn(machine); }, "Empty", "foo:off ", false, true},
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
    for (const auto& [call, status, actions, reloads, isExcluded] : steps) {
        call();
        EXPECT_EQ(task->statusString(), status);
        EXPECT_EQ(menu(), actions) << status;
        EXPECT_EQ(tasks->takeReload(), reloads) << status;
        EXPECT_EQ(task->canSubmitTo(machine), !isExcluded) << status;
        EXPECT_TRUE(task->canSubmitTo(other) && task->canSubmitTo(Machine(std::nullopt)));
        EXPECT_EQ(task->waitingToBeSubmitted(), status == std::string("Will be run"));
        EXPECT_EQ(task->isEmpty(), actions == std::string("foo:off "));
    }
    EXPECT_EQ(machine.aborts, 1);
    EXPECT_EQ(titles["retrySCP:"] + titles["abortSCP:"], "Retry transferAbort Task");
    EXPECT_EQ(titles["abortRun:"] + titles["foo:"], "Abort TaskNothing");
    EXPECT_THAT(task->description(), MatchesRegex("<0x.* - #0 - Empty"));
    EXPECT_EQ(app->sorvanta().combinedContent(), (SorvantaLink::Content{{wrapper.path(), {0}}}));
}

TEST_F(SingleTask, AbortingEndsACopy)
{
    Machine machine;
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
    toolkit::Table& table = views->outputFromProgram;
    toolkit::View& clip = *table.superview();
    clip.setBounds({0, 0, 100, 20});
    table.setRowHeight(10);
    Machine machine{"X", false};
    task->selectedInView(&table);
    const auto* file = table.dataSource();
    task->startedOn(machine);
    EXPECT_TRUE(machine.listening);
    task->setNumberOfOutputLines(2);
    EXPECT_EQ(clip.bounds().y, 0) << "nothing was there to follow";
    task->setNumberOfOutputLines(4);
    EXPECT_EQ(clip.bounds().y, 20);
    EXPECT_EQ(cellText(table.value("Line", 0)) + cellText(table.value("Line", 1)), "line 0");
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

TEST_F(SingleTask, DoesNothingAfterItsWrapperIsClosed)
{
    Machine far("X", false);
    toolkit::Table& table = views->outputFromProgram;
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
