#include "task/KRTaskContextMenu.h"
#include "task/KRTrelkindApplication.h"
#include "task/SVTrelkindEngineLocal.h"
#include "task/WrapperOnDisk.h"
#include "text/RtfText.h"
#include "toolkit/Workspace.h"

#include <gmock/gmock.h>
#include <tuple>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using toolkit::cellText;
namespace files = platform::files;

class Controller : public testing::Test {
protected:
    Controller() { wrapper.tasks({"a", "b", "c"}).executable("#!/bin/sh\nexit 0\n"); }

    KRTrelkindController& open()
    {
        app = std::make_unique<KRTrelkindApplication>();
        return *app->openTaskWithName(wrapper.path());
    }
    static int rowOf(const toolkit::Table& table, const std::string& column, const std::string& text)
    {
        for (int row = 0; row < table.numberOfRows(); ++row)
            if (cellText(table.value(column, row)) == text)
                return row;
        return -1;
    }

    WrapperOnDisk wrapper;
    std::unique_ptr<KRTrelkindApplication> app;
};

struct Machine : SVTaskMachine {
    std::optional<std::string> machineName() const override { return "X"; }
    bool isLocal() const override { return true; }
    void abortJob(SVSingleTask&) override { ++aborts; }
    int aborts = 0;
};

TEST_F(Controller, ShowsTheTasksByColumn)
{
    wrapper.write("0/VTask_runStarted", "", 300000);
    wrapper.write("0/VTask_runCompleted", "host", 300000 - 3661);
    wrapper.write("0/VTask_exitStatus", "139\n");
    wrapper.write("1/VTask_runStarted", "", 1);
    wrapper.write("1/SVProgress", std::string(42, '.'));
    wrapper.write("2/VTask_aborted");
    auto& controller = open();
    const auto& table = controller.views()->taskList;
    const auto row = [&](int index) {
        std::string cells;
        for (const char* column : {"Number", "Time", "Description", "Status", "Progress", "Duration", "Exit",
                 "Argument", "Try", "Engine"})
            cells += cellText(table.value(column, index)) + "|";
        return cells;
    };
    EXPECT_EQ(row(0), "1|0||Done|100|1:01:01|SIGSEGV|a|0|Empty|");
    EXPECT_THAT(row(1), testing::MatchesRegex("2\\|0.5\\|\\|Running\\|42\\|0:0.\\|\\|b\\|0\\|Empty\\|"));
    EXPECT_EQ(row(2), "3|1||Aborted|0|||c|0|Empty|");
    EXPECT_EQ(row(3), "||||||||||");
    EXPECT_THAT(cellText(table.value("Started", 0)), testing::MatchesRegex("20..-..-.. ..:..:.."));
    EXPECT_THAT(cellText(table.value("Started", 1)), testing::MatchesRegex("(20..-..-.. )?..:..:.."));
    EXPECT_EQ(controller.views()->howMuchIsDoneField.stringValue(), "0/3");
    EXPECT_EQ(controller.views()->window.title(), wrapper.path());

    for (const auto& [number, word] : {std::pair(1, "Checking"), {2, "Aborted"}}) {
        const auto task = controller.taskInformation()[static_cast<std::size_t>(number)];
        task->startedARemoteCheck();
        EXPECT_EQ(cellText(table.value("Status", number)), word);
        task->endedARemoteCheck();
    }
    EXPECT_EQ(cellText(table.value("Status", 1)), "Running");
}

TEST_F(Controller, ShowsTheFilesAndVariablesOfTheSelection)
{
    SVFileContent::scanner() = [](const std::string&) {
        using platform::Value;
        const auto variable = [](const char* type, std::size_t times) {
            return Value(Value::Dictionary{{"Type", type}, {"TimeValues", Value::Array(times, 1.0)}});
        };
        SVFileContent content;
        content.content = Value::Dictionary{{"e", Value::Dictionary{{"Type", "Real Number"}}},
            {"n", variable("Real Number", 1)}, {"T", variable("Image", 1)}, {"u", variable("Image", 3)}};
        content.names = {"e", "n", "T", "u"};
        content.readNumber = [](const std::string&) { return std::optional(0.1); };
        return content;
    };
    wrapper.write("1/result.SVBIN");
    wrapper.write("1/runOutput", std::string(1234, 'x'));
    auto& controller = open();
    auto* views = controller.views();
    EXPECT_EQ(views->fileTable.numberOfRows(), 0);
    views->taskList.selectRows({1});
    EXPECT_EQ(views->fileTable.numberOfRows(), 3);
    const int output = rowOf(views->fileTable, "File Name", "runOutput");
    EXPECT_EQ(cellText(views->fileTable.value("Size", output)), "1K");
    views->fileTable.selectRows({output});
    EXPECT_EQ(views->optionForFileDisplay.selectedIdentifier(), "Nothing");
    EXPECT_EQ(views->dataFileContent.numberOfRows(), 0);

    views->fileTable.selectRows({rowOf(views->fileTable, "File Name", "result.SVBIN")});
    EXPECT_EQ(views->optionForFileDisplay.selectedIdentifier(), "DataFile");
    std::string rows;
    for (int row = 0; row < views->dataFileContent.numberOfRows(); ++row)
        for (const char* column : {"Name", "Type", "Information"})
            rows += cellText(views->dataFileContent.value(column, row)) + ", ";
    EXPECT_EQ(rows,
        "e, Real Number, Empty, n, Real Number, 0.1, T, Image, 1 time value, u, Image, 3 time values, ");

    const auto& source = views->outputFromProgram;
    for (const std::set<int>& selected : {std::set{0, 1}, {2}, {}}) {
        views->taskList.selectRows(selected);
        EXPECT_EQ(source.dataSource() == &controller, selected.size() != 1);
        controller.readInStandardOut();
        EXPECT_EQ(source.dataSource() == &controller, selected.size() != 1);
    }
    EXPECT_EQ(views->fileTable.numberOfRows(), 0);
    SVFileContent::scanner() = nullptr;
}

TEST_F(Controller, AnEnginesPanelTakesAndGivesBackRoom)
{
    auto& controller = open();
    const toolkit::Rect before = controller.views()->fixedPartOfView.frame();
    controller.endAllTasks();
    controller.startLocalTask();
    SVTrelkindEngine* engine = controller.engine();
    ASSERT_TRUE(engine);
    const toolkit::View* panel = engine->settingsView();
    EXPECT_EQ(panel->superview(), &controller.views()->content);
    EXPECT_EQ(panel->frame(), (toolkit::Rect{0, 0, before.width, panel->frame().height}));
    EXPECT_EQ(controller.views()->fixedPartOfView.frame(),
        (toolkit::Rect{0, panel->frame().height, before.width, before.height - panel->frame().height}));
    controller.startLocalTask();
    EXPECT_EQ(controller.engine(), engine) << "a second engine is not attached";
    controller.endAllTasks();
    EXPECT_FALSE(controller.engine());
    EXPECT_EQ(controller.views()->fixedPartOfView.frame(), before);
}

TEST_F(Controller, RefusesToCloseAndToQuitWhileATaskIsCommitted)
{
    auto& controller = open();
    const auto other = app->openTaskWithName(wrapper.path() + "/");
    ASSERT_NE(other.get(), &controller) << "paths are compared as strings";
    int alerts = 0;
    toolkit::Workspace::shared().soundAlert = [&] { ++alerts; };
    Machine machine;
    for (auto* each : {&controller, other.get()})
        each->taskInformation()[1]->submittedToWaitingQueOn(machine);
    EXPECT_FALSE(controller.windowShouldClose());
    EXPECT_EQ(wrapper.lastLongMessage(),
        "Can not close the window while tasks are running.  Stop execution first.");
    EXPECT_FALSE(app->applicationShouldTerminate());
    EXPECT_THAT(wrapper.messages(),
        ElementsAre(
            "Can not close the window while a task is running.", "Can not quit while tasks are running."));
    EXPECT_EQ(alerts, 2);

    for (auto* each : {&controller, other.get()}) {
        each->taskInformation()[0]->setShouldBeRun(true);
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
    auto& controller = open();
    const auto held = controller.shared_from_this();
    const auto task = controller.taskInformation()[0];
    controller.views()->taskList.selectRows({0});
    controller.startLocalTask();
    controller.views()->writeUp.edit(toolkit::RichText("notes"));
    int closed = 0;
    const auto observation = platform::NotificationCenter::defaultCenter().observe(
        "SVWindowClosed", [&](const auto& notification) { closed += notification.object == held.get(); });
    EXPECT_TRUE(controller.windowShouldClose());
    EXPECT_EQ(closed, 1);
    EXPECT_THAT(app->listOfControllers(), IsEmpty());
    EXPECT_EQ(RtfText::read(wrapper.read("Info.rtfd/TXT.rtf"))->text.plain(), "notes");
    EXPECT_EQ(task->controller(), nullptr);
    held->changeInTask(*task);
    held->reloadTaskList();
    held->invalidateSelection();
    held->readInStandardOut();
    EXPECT_EQ(held->window(), nullptr);
    EXPECT_EQ(held->outputTable(), nullptr);
}

TEST_F(Controller, NotesThatWouldLoseSomethingAreNotWritten)
{
    const std::string notes = "Info.rtfd/TXT.rtf";
    const std::string rich = "{\\rtf1 \\b bold\\b0  {\\pict 00}}";
    wrapper.write(notes, rich);
    auto& controller = open();
    auto& view = controller.views()->writeUp;
    EXPECT_TRUE(view.text().runs.at(0).bold);
    EXPECT_FALSE(view.isEditable());
    EXPECT_THAT(wrapper.messages(), ElementsAre("The notes can only be read."));
    view.edit(toolkit::RichText("new"));
    controller.textDidChange();
    view.endEditing();
    EXPECT_EQ(wrapper.read(notes), rich);

    for (const char* unreadable : {"Info.rtfd/TXT.rtf", "Info.rtfd/TXT.rtf/inside"}) {
        wrapper.remove(notes);
        wrapper.write(unreadable, "no rich text");
        auto& notRead = open().views()->writeUp;
        notRead.edit(toolkit::RichText("new"));
        notRead.endEditing();
        EXPECT_EQ(wrapper.read(unreadable), "no rich text");
        EXPECT_EQ(wrapper.messages().back(), "Could not read Info.rtfd.");
    }
}

TEST_F(Controller, InvalidatingRemovesTheResultsOfTheSelectionAndTellsTheCompanion)
{
    for (const char* name : {"0/runOutput", "1/runOutput", "2/runOutput"})
        wrapper.write(name);
    auto& controller = open();
    controller.views()->taskList.selectRows({0, 2});
    controller.invalidateSelection();
    EXPECT_FALSE(wrapper.has("0/runOutput"));
    EXPECT_TRUE(wrapper.has("1/runOutput"));
    EXPECT_EQ(app->sorvanta().combinedContent(), (SorvantaLink::Content{{wrapper.path(), {0, 2}}}));
}

TEST_F(Controller, ARowHasTheMenuOfItsTask)
{
    auto& controller = open();
    Machine machine;
    controller.taskInformation()[1]->startedOn(machine);
    KRTaskContextMenu cell(std::make_shared<toolkit::Menu>("own"));
    EXPECT_EQ(cell.menu()->title(), "own");
    cell.setTask(&controller, 1);
    EXPECT_EQ(cell.menu()->item(0).title, "Abort Task");
    cell.setTask(&controller, 9);
    EXPECT_FALSE(cell.menu());
}

} // namespace
