// One open wrapper and its window.

#include "platform/loop/Pace.h"
#include "task/OpenController.h"
#include "task/application/KRTaskContextMenu.h"
#include "text/RtfText.h"
#include "toolkit/Workspace.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::MatchesRegex;
using toolkit::cellText;

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

TEST_F(Controller, ShowsTheTextOfASelectedFile)
{
    wrapper.write("1/notes", "first\nsecond \xc3\xa4\n");
    wrapper.write("1/core",
        std::string("\x7f"
                    "ELF\0",
            5));
    wrapper.write("1/bell", "\a\a\a");
    ASSERT_EQ(::mkfifo((wrapper.path() + "/1/pipe").c_str(), 0600), 0);
    wrapper.write("2/notes", "other\n");
    open();
    EXPECT_TRUE(views->optionForFileDisplay.isHidden());
    views->taskList.selectRows({1});
    const auto shown = [this] {
        return views->optionForFileDisplay.isHidden() ? "-" : views->fileText.everything();
    };
    selectFile("notes");
    EXPECT_EQ(shown(), "first\nsecond \xc3\xa4");
    for (const char* name : {"core", "bell", "pipe"}) {
        selectFile(name);
        EXPECT_EQ(shown(), "-") << name;
    }
    selectFile("notes");
    wrapper.write("1/notes", "first\nsecond \xc3\xa4\nthird\n");
    views->fileText.lookForMore();
    EXPECT_EQ(shown(), "first\nsecond \xc3\xa4\nthird");
    views->taskList.selectRows({});
    EXPECT_EQ(shown(), "-");
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

TEST_F(Controller, PlotsTheSelectedVariableOfAllSelectedTasks)
{
    Scanned scanned;
    wrapper.write("1/result.svbin");
    wrapper.write("2/result.svbin");
    open();
    views->taskList.selectRows({1});
    selectFile("result.svbin");
    scanned.show("1/result.svbin", {"covered", "energy"});
    const auto seen = [this] { return views->resultViews.selectedIdentifier(); };
    EXPECT_EQ(seen(), "Output");
    views->dataFileContent.selectRows({1});
    EXPECT_EQ(seen(), "Plot");
    EXPECT_FALSE(scanned.stop.stop_requested());
    views->dataFileContent.selectRows({0});
    EXPECT_TRUE(scanned.stop.stop_requested()) << "nobody waits for that variable any more";
    views->dataFileContent.selectRows({1});
    views->taskList.selectRows({1, 2});
    scanned.show("2/result.svbin", {"energy"});
    const auto curves = [this] { return views->plot.content()->curves; };
    EXPECT_TRUE(platform::MainLoop::main().runUntil([&] { return !curves().empty(); }, 5));
    ASSERT_EQ(curves().size(), 1U);
    EXPECT_EQ(*curves()[0].y, (std::vector<double>{6, 6}));
    views->resultViews.choose("Values");
    views->resultViews.choose("Output");
    views->taskList.selectRows({1});
    EXPECT_EQ(seen(), "Output") << "the user's choice is kept for the same variable";
    views->dataFileContent.selectRows({0});
    EXPECT_EQ(seen(), "Values") << "where the user has looked at variables last";
    views->taskList.selectRows({});
    EXPECT_TRUE(curves().empty());
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
        "[Tasks:Notes:[[[[Show][With text]]"
        "[Tasks Number Time Description Status Progress Started Duration Exit Argument Try]]"
        "[[[Files File Name Size][Text:Variables:[Text Text][Variables Name Type Information]]]"
        "[Output:Plot:Values:[[Output Output]][Plot][Values]]]]"
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

} // namespace
