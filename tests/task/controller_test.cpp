// One open wrapper: its window and its tasks.

#include "platform/loop/Pace.h"
#include "task/WrapperOnDisk.h"
#include "task/application/KRTaskContextMenu.h"
#include "task/application/KRTrelkindApplication.h"
#include "task/engine/SVTrelkindEngineLocal.h"
#include "task/single/Notifications.h"
#include "text/RtfText.h"
#include "toolkit/Noted.h"
#include "toolkit/Workspace.h"

#include <gmock/gmock.h>

#include <array>
#include <map>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::UnorderedElementsAre;
using toolkit::cellText;
namespace files = platform::files;

struct Machine : SVTaskMachine, SVRemoteOutputSource {
    explicit Machine(std::optional<std::string> called = "X", bool here = true)
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

// In the place of the scanner: the test says what the files hold.
class Scanned {
public:
    Scanned()
    {
        SVFileContent::scanner() = [this](const std::string& path, SVFileContent::Changed changed) {
            ++count;
            auto content = std::make_shared<Content>(*this, std::move(changed));
            contents_[path] = content;
            return content;
        };
    }
    ~Scanned() { SVFileContent::scanner() = nullptr; }

    // The reading of a file ends with these variables.
    void show(const std::string& path, std::vector<std::string> names)
    {
        for (const auto& [known, content] : contents_)
            if (const auto held = known.ends_with(path) ? content.lock() : nullptr) {
                held->names = std::move(names);
                held->changed();
                return;
            }
        ADD_FAILURE() << path << " isn't read";
    }
    // The names of the files that are still being read.
    std::string inReading() const
    {
        std::string names;
        for (const auto& [path, content] : contents_)
            if (const auto held = content.lock(); held && held->isBeingRead())
                names += platform::paths::lastComponent(path);
        return names;
    }
    int count = 0; // Readings of whole files.
    int updates = 0;

private:
    struct Content : SVFileContent {
        Content(Scanned& scanned, Changed whenChanged) : owner(scanned), changed(std::move(whenChanged)) { }
        bool isBeingRead() const override { return !names; }
        bool hasBeenRead() const override { return names.has_value(); }
        std::size_t count() const override { return names ? names->size() : 0; }
        std::string cell(std::string_view column, std::size_t row) const override
        {
            return column == "Name" ? names->at(row) : std::string(column) + " " + std::to_string(row);
        }
        void update() override { ++owner.updates; }

        Scanned& owner;
        Changed changed;
        std::optional<std::vector<std::string>> names;
    };
    std::map<std::string, std::weak_ptr<Content>> contents_;
};

struct Controller : testing::Test {
    Controller()
    {
        wrapper.tasks({"a", "b", "c"}).executable("#!/bin/sh\n");
        open();
    }
    void open()
    {
        tasks.reset();
        app.reset();
        app = std::make_unique<KRTrelkindApplication>();
        controller = app->openTaskWithName(wrapper.path());
        views = controller->views();
        task = controller->taskInformation().at(0);
        tasks.emplace(views->taskList);
        tasks->takeReload();
    }
    bool changes() // Updates the task's state and returns whether that reloads the task list.
    {
        task->updateBasedOnContent();
        return tasks->takeReload();
    }
    std::vector<std::string> listing() { return files::contentsOfDirectory(wrapper / "0").value(); }
    // Selects a file of the selected task; the size that its row shows.
    std::string selectFile(const char* name)
    {
        const auto& names = controller->taskInformation()[1]->fileList();
        const auto row = static_cast<int>(std::find(names.begin(), names.end(), name) - names.begin());
        views->fileTable.selectRows({row});
        return cellText(views->fileTable.value("Size", row));
    }
    void writeNotes(const char* text)
    {
        views->writeUp.edit(toolkit::RichText(text));
        views->writeUp.endEditing();
    }

    WrapperOnDisk wrapper;
    std::unique_ptr<KRTrelkindApplication> app;
    std::shared_ptr<KRTrelkindController> controller;
    TrelkindWindow* views = nullptr;
    std::shared_ptr<SVSingleTask> task; // The first one.
    std::optional<toolkit::Noted> tasks; // What the task list has told.
};

using SingleTask = Controller;

TEST_F(Controller, ShowsTheTasksByColumn)
{
    wrapper.write("0/VTask_runStarted", "", 300000);
    wrapper.write("0/VTask_runCompleted", "host", 300000 - 3661);
    wrapper.write("0/VTask_exitStatus", "139\n");
    wrapper.write("1/VTask_runStarted", "", 1);
    wrapper.write("1/SVProgress", std::string(42, '.'));
    wrapper.write("2/VTask_aborted");
    open();
    const auto& table = views->taskList;
    EXPECT_THAT(cells(table,
                    {"Number", "Time", "Description", "Status", "Progress", "Duration", "Exit", "Argument",
                        "Try", ""}),
        MatchesRegex("1.0..Done.100.1:01:01.SIGSEGV.a.0.Empty."
                     "2.0\\.5..Running.42.0:0...b.0.Empty."
                     "3.1..Aborted.0...c.0.Empty."));
    EXPECT_THAT(cellText(table.value("Started", 0)), MatchesRegex("20..-..-.. ..:..:.."));
    EXPECT_THAT(cellText(table.value("Started", 1)), MatchesRegex("(20..-..-.. )?..:..:.."));
    EXPECT_EQ(views->howMuchIsDoneField.stringValue(), "0/3");
    EXPECT_EQ(views->window.title(), wrapper.path());

    for (const auto& [number, word] : {std::pair(1, "Checking"), {2, "Aborted"}}) {
        auto& checked = *controller->taskInformation()[static_cast<std::size_t>(number)];
        checked.startedARemoteCheck();
        EXPECT_EQ(cellText(table.value("Status", number)), word);
        checked.endedARemoteCheck();
    }
    EXPECT_EQ(cellText(table.value("Status", 1)), "Running");
    for (const auto& [recorded, shown] :
        {std::pair("7", "7"), {"255\n", "255"}, {"x", ""}, {"7x", ""}, {"-1", ""}, {"256", ""}}) {
        wrapper.write("0/VTask_exitStatus", recorded);
        open();
        EXPECT_EQ(cellText(views->taskList.value("Exit", 0)), shown) << recorded;
    }
}

TEST_F(Controller, ShowsTheFilesAndVariablesOfTheSelection)
{
    Scanned scanned;
    wrapper.write("1/result.SVBIN");
    wrapper.write("1/other.mat");
    wrapper.write("1/runOutput", std::string(1234, 'x'));
    open();
    EXPECT_EQ(views->fileTable.numberOfRows(), 0);
    views->taskList.selectRows({1});
    EXPECT_EQ(views->fileTable.numberOfRows(), 4);
    EXPECT_EQ(selectFile("runOutput"), "1K");
    EXPECT_EQ(views->optionForFileDisplay.selectedIdentifier(), "Nothing");
    EXPECT_EQ(views->dataFileContent.numberOfRows(), 0);
    EXPECT_EQ(selectFile("result.SVBIN"), "Empty");
    EXPECT_EQ(views->optionForFileDisplay.selectedIdentifier(), "DataFile");
    EXPECT_EQ(views->dataFileContent.numberOfRows(), 0) << "the file is still being read";
    EXPECT_EQ(views->dataFileContent.placeholder(), "Reading result.SVBIN\u2026");

    scanned.show("1/result.SVBIN", {"e", "n"});
    EXPECT_EQ(cells(views->dataFileContent, {"Name", "Type", "Information"}),
        "e|Type 0|Information 0|n|Type 1|Information 1|");
    EXPECT_EQ(scanned.inReading(), "");
    EXPECT_EQ(views->dataFileContent.placeholder(), "");
    selectFile("other.mat");
    EXPECT_EQ(scanned.inReading(), "other.mat");
    selectFile("result.SVBIN"); // A reading that nobody waits for is dropped; what has been read is kept.
    EXPECT_EQ(scanned.inReading(), "");
    EXPECT_EQ(views->dataFileContent.numberOfRows(), 2);
    EXPECT_EQ(scanned.count, 2);
    selectFile("other.mat");
    views->taskList.selectRows({2});
    EXPECT_EQ(scanned.inReading(), "");

    const auto& source = views->outputFromProgram;
    for (const std::set<int>& selected : {std::set{0, 1}, {2}, {}}) {
        views->taskList.selectRows(selected);
        EXPECT_EQ(source.dataSource() == controller.get(), selected.size() != 1);
        views->outputFromProgram.setDataSource(nullptr);
        controller->readInStandardOut();
        EXPECT_NE(source.dataSource(), nullptr);
        EXPECT_EQ(source.dataSource() == controller.get(), selected.size() != 1);
    }
    EXPECT_EQ(views->fileTable.numberOfRows(), 0);
}

TEST_F(Controller, FollowsTheSelectedFileWhileItsTaskRuns)
{
    platform::Pace::setFactor(0.01);
    Scanned scanned;
    wrapper.write("1/result.svbin");
    open();
    views->taskList.selectRows({1});
    selectFile("result.svbin");
    scanned.show("1/result.svbin", {"e"});
    auto& loop = platform::MainLoop::main();
    EXPECT_FALSE(loop.runUntil([&] { return scanned.updates > 0; }, 0.1)) << "the task waits";

    wrapper.write("1/VTask_runStarted");
    controller->taskInformation()[1]->updateBasedOnContent();
    EXPECT_TRUE(loop.runUntil([&] { return scanned.updates > 2; }, 10));
    scanned.show("1/result.svbin", {"e", "new"});
    EXPECT_EQ(views->dataFileContent.numberOfRows(), 2);
    wrapper.write("1/VTask_runCompleted");
    controller->taskInformation()[1]->updateBasedOnContent();
    EXPECT_EQ(views->dataFileContent.numberOfRows(), 2);
    const int atTheEnd = scanned.updates;
    EXPECT_FALSE(loop.runUntil([&] { return scanned.updates > atTheEnd + 1; }, 0.1));
    EXPECT_EQ(scanned.count, 1) << "it is never read anew";
    platform::Pace::setFactor(1);
}

TEST_F(Controller, ArrangesItsViewsAndAnEnginesPanel)
{
    const std::function<std::string(const toolkit::View&)> outline = [&](const toolkit::View& view) {
        std::string parts = view.accessibleName();
        if (const auto* table = dynamic_cast<const toolkit::Table*>(&view))
            for (const toolkit::Column& column : table->columns())
                parts += " " + column.title;
        if (const auto* tabs = dynamic_cast<const toolkit::TabView*>(&view))
            for (const auto& tab : tabs->tabs())
                parts += tab.label + ":";
        for (const toolkit::View* part : view.subviews())
            parts += outline(*part);
        return "[" + parts + "]";
    };
    controller->endAllTasks(); // Does nothing without an engine.
    controller->startLocalTask();
    EXPECT_EQ(outline(views->content),
        "[[[Executable][Project][Done]]"
        "[Tasks:Notes:[[Tasks Number Time Description Status Progress Started Duration Exit Argument Try]"
        "[[Files File Name Size][Nothing:Variables:[Variables Name Type Information]]][[Output Output]]]"
        "[[Notes][Description]]][[][][Tasks at a time]]]");

    SVTrelkindEngine* engine = controller->engine();
    EXPECT_EQ(engine->settingsView()->frame(), (toolkit::Rect{0, 0, 900, 40}));
    EXPECT_EQ(views->fixedPartOfView.frame(), (toolkit::Rect{0, 40, 900, 560}));
    controller->startLocalTask();
    EXPECT_EQ(controller->engine(), engine) << "a second engine is not attached";
    controller->endAllTasks();
    EXPECT_FALSE(controller->engine());
    EXPECT_EQ(views->fixedPartOfView.frame(), (toolkit::Rect{0, 0, 900, 600}));
}

TEST_F(Controller, RefusesToCloseAndToQuitWhileATaskIsCommitted)
{
    const auto other = app->openTaskWithName(wrapper.path() + "/");
    ASSERT_NE(other.get(), controller.get()) << "paths are compared as strings";
    int alerts = 0;
    toolkit::Workspace::shared().soundAlert = [&] { ++alerts; };
    Machine machine;
    for (auto* each : {controller.get(), other.get()})
        each->taskInformation()[1]->submittedToWaitingQueOn(machine);
    EXPECT_FALSE(controller->windowShouldClose());
    EXPECT_EQ(wrapper.lastLongMessage(),
        "Can not close the window while tasks are running.  Stop execution first.");
    EXPECT_FALSE(app->applicationShouldTerminate());
    EXPECT_THAT(wrapper.messages(),
        ElementsAre(
            "Can not close the window while a task is running.", "Can not quit while tasks are running."));
    EXPECT_EQ(alerts, 2);

    for (auto* each : {controller.get(), other.get()}) {
        each->taskInformation()[0]->setShouldBeRun(true);
        EXPECT_TRUE(each->taskInformation()[0]->shouldBeRun());
        each->stopTask();
        EXPECT_FALSE(each->taskInformation()[0]->shouldBeRun());
        each->taskInformation()[1]->aborted();
    }
    EXPECT_EQ(machine.aborts, 2);
    EXPECT_TRUE(app->applicationShouldTerminate());
    toolkit::Workspace::shared() = {};
}

TEST_F(Controller, AClosedWindowMakesLateCallsHarmless)
{
    const auto held = controller->shared_from_this();
    views->taskList.selectRows({0});
    controller->startLocalTask();
    int closed = 0;
    const auto observation = platform::NotificationCenter::defaultCenter().observe(
        "SVWindowClosed", [&](const auto& notification) { closed += notification.object == held.get(); });
    EXPECT_TRUE(controller->windowShouldClose());
    EXPECT_EQ(closed, 1);
    EXPECT_FALSE(!app->listOfControllers().empty() || task->controller());
    held->changeInTask(*task);
    held->reloadTaskList();
    held->invalidateSelection();
    held->readInStandardOut();
    EXPECT_FALSE(held->window() || held->outputTable());
}

TEST_F(Controller, NotesThatWouldLoseSomethingAreNotWritten)
{
    const std::string notes = "Info.rtfd/TXT.rtf";
    const std::string rich = "{\\rtf1 \\b bold\\b0  {\\pict 00}}";
    wrapper.write(notes, rich);
    open();
    EXPECT_TRUE(views->writeUp.text().runs.at(0).bold);
    EXPECT_FALSE(views->writeUp.isEditable());
    EXPECT_THAT(wrapper.messages(), ElementsAre("The notes can only be read."));
    writeNotes("new");
    EXPECT_EQ(wrapper.read(notes), rich);
    for (const char* unreadable : {"Info.rtfd/TXT.rtf", "Info.rtfd/TXT.rtf/inside"}) {
        wrapper.remove(notes);
        wrapper.write(unreadable, "no rich text");
        open();
        writeNotes("new");
        EXPECT_EQ(wrapper.read(unreadable), "no rich text");
        EXPECT_EQ(wrapper.messages().back(), "Could not read Info.rtfd.");
    }
}

TEST_F(Controller, SavesNotesOnEveryOccasionUntilItSucceeds)
{
    wrapper.write("Description.rtfd/TXT.rtf", "{\\rtf1 set-up}");
    open();
    EXPECT_EQ(views->setupDescription.string(), "set-up");
    const auto saved = [&] {
        const auto text = RtfText::read(wrapper.read("Info.rtfd/TXT.rtf"));
        return text ? text->text.plain() : "";
    };
    views->writeUp.edit(toolkit::RichText("first"));
    views->fixedPartOfView.choose("Notes");
    EXPECT_EQ(saved(), "first");
    wrapper.remove("Info.rtfd/TXT.rtf");
    views->writeUp.endEditing();
    EXPECT_EQ(saved(), "") << "nothing has changed";
    wrapper.write("Info.rtfd/TXT.rtf/inside");
    writeNotes("second");
    EXPECT_THAT(wrapper.messages(), ElementsAre("Could not save the notes."));
    wrapper.remove("Info.rtfd/TXT.rtf");
    EXPECT_TRUE(controller->windowShouldClose());
    EXPECT_EQ(saved(), "second");
}

TEST_F(Controller, InvalidatingRemovesTheResultsOfTheSelectionAndTellsTheCompanion)
{
    for (const char* name : {"0/runOutput", "1/runOutput", "2/runOutput"})
        wrapper.write(name);
    open();
    views->taskList.selectRows({0, 2});
    controller->invalidateSelection();
    EXPECT_TRUE(tasks->takeReload());
    EXPECT_FALSE(wrapper.has("0/runOutput"));
    EXPECT_TRUE(wrapper.has("1/runOutput"));
    EXPECT_EQ(app->sorvanta().combinedContent(), (SorvantaLink::Content{{wrapper.path(), {0, 2}}}));
}

TEST_F(Controller, ARowHasTheMenuOfItsTask)
{
    Machine machine;
    controller->taskInformation()[1]->startedOn(machine);
    KRTaskContextMenu cell(std::make_shared<toolkit::Menu>("own"));
    EXPECT_EQ(cell.menu()->title(), "own");
    cell.setTask(controller.get(), 1);
    EXPECT_EQ(cell.menu()->item(0).title, "Abort Task");
    cell.setTask(controller.get(), 9);
    EXPECT_FALSE(cell.menu());
    EXPECT_EQ(controller->contextMenuForTableRow(views->taskList, 1)->item(0).title, "Abort Task");
    EXPECT_FALSE(controller->contextMenuForTableRow(views->fileTable, 1));
}

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
