// Which tasks the table shows, in which order, and what is kept of its columns.

#include "task/OpenController.h"
#include "task/application/TableSettings.h"
#include "toolkit/Workspace.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct TaskTable : Controller {
    // The numbers of the tasks, as shown from the top.
    std::vector<std::string> numbers() const
    {
        std::vector<std::string> shown;
        for (int row = 0; row < views->taskList.numberOfRows(); ++row)
            shown.push_back(toolkit::cellText(views->taskList.value("Number", row)));
        return shown;
    }
    std::vector<std::string> sortedBy(const char* column)
    {
        views->taskList.sortBy(column);
        return numbers();
    }
    std::vector<std::string> showing(ShownTasks which)
    {
        controller->showTasks(which);
        return numbers();
    }
};

TEST_F(TaskTable, IsSortedByAnyColumnUpwardsDownwardsAndNot)
{
    wrapper.tasks({"out10", "out2", "", "out2", "-3"});
    wrapper.write("1/VTask_runStarted", "", 20);
    wrapper.write("3/VTask_runStarted", "", 3000);
    wrapper.write("3/VTask_runCompleted", "host", 2990);
    wrapper.write("4/VTask_runStarted", "", 400);
    wrapper.write("4/SVProgress", "123456789");
    open();
    EXPECT_THAT(sortedBy("Argument"), ElementsAre("5", "2", "4", "1", "3"));
    EXPECT_THAT(sortedBy("Argument"), ElementsAre("1", "2", "4", "5", "3")) << "stable, empty cells last";
    EXPECT_THAT(sortedBy("Argument"), ElementsAre("1", "2", "3", "4", "5"));
    EXPECT_THAT(sortedBy("Duration"), ElementsAre("4", "2", "5", "1", "3")) << "0:10 is less than 6:40";
    EXPECT_THAT(sortedBy("Started"), ElementsAre("4", "5", "2", "1", "3"));
    EXPECT_THAT(sortedBy("Progress"), ElementsAre("1", "2", "3", "5", "4"));
    EXPECT_THAT(sortedBy("Status"), ElementsAre("2", "5", "4", "1", "3"));
    sortedBy("Number");
    EXPECT_THAT(sortedBy("Number"), ElementsAre("5", "4", "3", "2", "1"));
    const auto tint = [this](int row) { return views->taskList.styleForDisplay("Status", row).background; };
    EXPECT_TRUE(tint(0) && tint(1) && tint(0) != tint(1) && !tint(2)) << "running, done, and waiting";
    EXPECT_EQ(controller->contextMenuForRow(9), nullptr);
    EXPECT_EQ(toolkit::cellText(views->taskList.value("Argument", 0)), "-3");
}

TEST_F(TaskTable, ShowsTheTasksInAStateOrWithAText)
{
    wrapper.tasks({"Alpha", "beta", "gamma", "delta", "alphabet"});
    wrapper.write("1/VTask_runStarted").write("2/VTask_runStarted").write("2/VTask_runCompleted", "h");
    wrapper.write("2/VTask_exitStatus", "3").write("3/VTask_runStarted").write("3/VTask_aborted");
    open();
    EXPECT_THAT(showing(ShownTasks::Waiting), ElementsAre("1", "5"));
    EXPECT_THAT(showing(ShownTasks::Running), ElementsAre("2"));
    EXPECT_THAT(showing(ShownTasks::Lost), ElementsAre("2")) << "no process works in its folder";
    EXPECT_THAT(showing(ShownTasks::Done), ElementsAre("3"));
    EXPECT_THAT(showing(ShownTasks::Failed), ElementsAre("3"));
    EXPECT_THAT(showing(ShownTasks::Aborted), ElementsAre("4"));
    EXPECT_EQ(showing(ShownTasks::All).size(), 5U);
    views->taskFilter.edit("ALPHA");
    EXPECT_THAT(numbers(), ElementsAre("1", "5")) << "while typing";
    views->taskFilter.commit("abort");
    EXPECT_THAT(numbers(), ElementsAre("4")) << "a state is a text, too";
    views->taskFilter.commit("nothing like it");
    EXPECT_THAT(numbers(), IsEmpty());
}

TEST_F(TaskTable, TheSelectionFollowsTheTasks)
{
    wrapper.write("0/only in the first");
    open();
    views->taskList.selectRows({0});
    sortedBy("Number");
    sortedBy("Number");
    EXPECT_THAT(views->taskList.selectedRows(), ElementsAre(2));
    EXPECT_EQ(views->fileTable.numberOfRows(), 2);
    views->fileTable.selectRows({1});
    sortedBy("Number");
    EXPECT_THAT(views->fileTable.selectedRows(), ElementsAre(1)) << "moving a row is no other selection";

    // A task that changes is sorted in a little later, all of them in one go.
    showing(ShownTasks::Waiting);
    views->taskList.selectRows({0, 1});
    wrapper.write("0/VTask_runStarted").write("2/VTask_runStarted");
    for (const auto& changed : controller->taskInformation())
        changed->updateBasedOnContent();
    EXPECT_EQ(numbers().size(), 3U);
    EXPECT_TRUE(platform::MainLoop::main().runUntil([this] { return numbers().size() == 1; }, 5));
    EXPECT_THAT(numbers(), ElementsAre("2"));
    EXPECT_THAT(views->taskList.selectedRows(), ElementsAre(0));
    EXPECT_EQ(views->fileTable.numberOfRows(), 1) << "the files of the task that is left";
    showing(ShownTasks::Done);
    EXPECT_EQ(views->fileTable.numberOfRows(), 0);
}

TEST_F(TaskTable, KeepsItsColumnsForTheNextWindow)
{
    const std::string path = platform::Places::library() + "/Table Columns.plist";
    const auto reopen = [this] {
        controller->windowShouldClose();
        open();
        return views->taskList.arrangement();
    };
    {
        const TableSettings settings;
        const auto usual = reopen();
        views->taskList.moveColumn("Argument", 0);
        views->taskList.hideColumn("Time", true);
        auto wanted = views->taskList.arrangement();
        wanted.find("Status")->width = 77;
        views->taskList.arrange(wanted);
        views->taskList.sortBy("Number");
        views->taskList.sortBy("Number");
        wanted = views->taskList.arrangement();
        EXPECT_EQ(reopen(), wanted);
        EXPECT_THAT(numbers(), ElementsAre("3", "2", "1"));

        const platform::Value damaged = platform::Value::Dictionary{{"Tasks",
            platform::Value::Dictionary{
                {"Columns",
                    platform::Value::Array{7,
                        platform::Value::Dictionary{{"Identifier", "None such"}, {"Hidden", true}},
                        platform::Value::Dictionary{
                            {"Identifier", "Number"}, {"Width", std::int64_t{1} << 60}},
                        platform::Value::Dictionary{{"Identifier", "Number"}, {"Hidden", true}}}},
                {"Sort By", "None such"}}}};
        EXPECT_TRUE(platform::propertylist::writeAtomically(damaged, path).ok());
        auto fitted = reopen();
        EXPECT_EQ(fitted.places.size(), usual.places.size());
        EXPECT_LT(std::exchange(fitted.places.front().width, 0), 100000);
        EXPECT_EQ(fitted, usual);
        views->fileTable.hideColumn("Size", true);
    }
    const TableSettings settings;
    reopen();
    EXPECT_TRUE(views->fileTable.isColumnHidden("Size")) << "saved at the end";
    EXPECT_TRUE(platform::files::writeFile(path, "no list"));
    EXPECT_FALSE((reopen(), views->fileTable.isColumnHidden("Size")));
}

struct TaskActions : TaskTable {
    TaskActions()
    {
        auto& workspace = toolkit::Workspace::shared();
        workspace.showAlert = [this](const toolkit::Alert& alert) {
            asked.push_back(alert.message);
            answer = alert.answered;
        };
        workspace.setPasteboardText = [this](const std::string& text) { copied = text; };
        workspace.openFile = [this](const std::string& path) {
            opened.push_back(path);
            return platform::Status();
        };
        workspace.openTerminal = [](const std::string&) {
            return platform::Status(platform::Error{"None."});
        };
    }
    ~TaskActions() override { toolkit::Workspace::shared() = {}; }
    bool waitUntilEnded() const
    {
        return platform::MainLoop::main().runUntil(
            [this] { return !controller->engine() || !controller->engine()->isRunning(); }, 10);
    }
    void chooseFrom(toolkit::Table& table, int row, const std::string& title) const
    {
        const auto menu = controller->contextMenuForTableRow(table, row);
        ASSERT_TRUE(menu);
        for (int i = 0; i < menu->count(); ++i)
            if (menu->item(i).title == title)
                return menu->choose(i);
        ADD_FAILURE() << title;
    }

    std::vector<std::string> asked;
    std::function<void(int)> answer;
    std::string copied;
    std::vector<std::string> opened;
};

TEST_F(TaskActions, ChosenTasksRunAgainAfterAQuestionForTheirResults)
{
    wrapper.executable("#!/bin/sh\necho again $1\n");
    wrapper.write("0/VTask_runStarted").write("0/VTask_runCompleted", "h").write("0/runOutput", "old\n");
    wrapper.write("1/VTask_runStarted").write("1/VTask_runCompleted", "h").write("1/VTask_exitStatus", "3");
    wrapper.write("2/VTask_runStarted").write("2/VTask_aborted");
    open();
    controller->runSelectedAgain();
    EXPECT_FALSE(controller->engine()) << "nothing is selected";
    EXPECT_TRUE(controller->validateMenuItem("runFailedAgain:"));
    controller->runFailedAndAbortedAgain();
    EXPECT_THAT(asked, IsEmpty()) << "what failed may go";
    EXPECT_FALSE(
        controller->validateMenuItem("runFailedAgain:") || controller->validateMenuItem("clearSelected:"));
    EXPECT_TRUE(waitUntilEnded());
    EXPECT_EQ(wrapper.read("1/runOutput") + wrapper.read("2/runOutput"), "again b\nagain c\n");
    EXPECT_EQ(wrapper.read("0/runOutput"), "old\n") << "not chosen";

    views->taskList.selectRows({0});
    controller->runSelectedAgain();
    EXPECT_THAT(asked, ElementsAre(testing::HasSubstr("is done, and clearing it removes its results.")));
    answer(1);
    EXPECT_EQ(wrapper.read("0/runOutput"), "old\n");
    answer(0);
    EXPECT_TRUE(waitUntilEnded());
    EXPECT_EQ(wrapper.read("0/runOutput"), "again a\n");
    controller->clearSelected();
    answer(0);
    EXPECT_FALSE(wrapper.has("0/runOutput"));
    EXPECT_FALSE(controller->validateMenuItem("clearSelected:")) << "nothing is left to clear";
    EXPECT_THAT(wrapper.messages(), IsEmpty());
    answer = nullptr;
    views->taskList.selectRows({1});
    controller->runSelectedAgain();
    controller->windowShouldClose();
    answer(0);
    EXPECT_TRUE(wrapper.has("1/runOutput")) << "the window has closed";
}

TEST_F(TaskActions, RowsAndPathsAreCopiedAndFoldersOpened)
{
    wrapper.tasks({"a\tb", "c"});
    open();
    chooseFrom(views->taskList, 0, "Open Run Folder");
    EXPECT_THAT(opened, IsEmpty()) << "nothing is selected";
    views->taskList.selectRows({0, 1});
    for (const char* column : {"Description", "Status", "Progress", "Started", "Duration", "Exit"})
        views->taskList.hideColumn(column, true);
    views->taskList.moveColumn("Argument", 0);
    chooseFrom(views->taskList, 0, "Copy");
    EXPECT_EQ(copied, "a b\t1\t0\nc\t2\t0.5\n");
    chooseFrom(views->taskList, 1, "Open Run Folder");
    chooseFrom(views->taskList, 1, "Open in Terminal");
    EXPECT_THAT(wrapper.messages(), ElementsAre("Could not open " + wrapper / "1" + "."));

    wrapper.write("1/a new file");
    EXPECT_EQ(views->fileTable.numberOfRows(), 1);
    controller->reload();
    EXPECT_EQ(views->fileTable.numberOfRows(), 2);
    chooseFrom(views->fileTable, 0, "Copy Path");
    EXPECT_EQ(copied, wrapper / "1/a new file");
    chooseFrom(views->fileTable, 0, "Open");
    chooseFrom(views->fileTable, 0, "Open Folder");
    EXPECT_THAT(opened, ElementsAre(wrapper / "1", wrapper / "1/a new file", wrapper / "1"));
}

// More tasks than are read again in one turn of the loop.
TEST_F(TaskActions, ReloadingReadsAllTasks)
{
    wrapper.tasks(std::vector<std::string>(500, "x"));
    open();
    wrapper.write("499/VTask_aborted");
    controller->reload();
    EXPECT_FALSE(controller->taskInformation()[499]->taskWasAborted());
    EXPECT_TRUE(platform::MainLoop::main().runUntil(
        [this] { return controller->taskInformation()[499]->taskWasAborted(); }, 5));
}

} // namespace
