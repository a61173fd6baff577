#include "toolkit/Controls.h"
#include "toolkit/Menu.h"
#include "toolkit/Table.h"
#include "toolkit/ViewList.h"
#include "toolkit/Workspace.h"

#include <gtest/gtest.h>

namespace {

struct Rows : toolkit::TableDataSource, toolkit::TableDelegate {
    int numberOfRowsInTableView(const toolkit::Table&) override { return count; }
    toolkit::CellValue objectValueForTableColumn(const toolkit::Table&, std::string_view, int row) override
    {
        return static_cast<double>(row);
    }
    void tableViewSelectionDidChange(toolkit::Table&) override { ++selections; }
    int count = 5;
    int selections = 0;
};

TEST(Table, KeepsTheRowsAndTheSelectionThatItsSourceStillHas)
{
    Rows rows;
    toolkit::Table table;
    table.setDelegate(&rows);
    table.setDataSource(&rows);
    table.selectRows({1, 4, 9});
    EXPECT_EQ(table.selectedRows(), (std::set{1, 4}));
    EXPECT_EQ(table.selectedRow(), 4);
    rows.count = 2;
    EXPECT_EQ(table.numberOfRows(), 5) << "a change counts once it is noted";
    table.noteNumberOfRowsChanged();
    EXPECT_EQ(table.selectedRows(), std::set{1});
    EXPECT_EQ(rows.selections, 2);
    table.selectRows({1});
    EXPECT_EQ(rows.selections, 2) << "the same selection is no change";
    EXPECT_EQ(toolkit::cellText(table.value("x", 1)), "1");
    EXPECT_EQ(toolkit::cellText(table.value("x", 2)), "");
    table.setDataSource(nullptr);
    EXPECT_EQ(table.numberOfRows(), 0);
}

TEST(Table, ScrollsItsClipUntilARowIsVisible)
{
    Rows rows;
    rows.count = 100;
    toolkit::View clip;
    toolkit::Table table;
    clip.bounds = {0, 0, 100, 50};
    clip.addSubview(table);
    table.rowHeight = 10;
    table.setDataSource(&rows);
    table.scrollRowToVisible(99);
    EXPECT_EQ(clip.bounds.y, 950);
    table.scrollRowToVisible(3);
    EXPECT_EQ(clip.bounds.y, 30);
}

TEST(View, LeavesItsParentAndLetsItsChildrenGo)
{
    toolkit::Window window;
    toolkit::View child;
    {
        toolkit::View root;
        root.setWindow(&window);
        root.addSubview(child);
        EXPECT_EQ(child.window(), &window);
        toolkit::View brief;
        root.addSubview(brief);
        EXPECT_EQ(root.subviews().size(), 2U);
    }
    EXPECT_EQ(child.superview(), nullptr);
    EXPECT_EQ(child.window(), nullptr);
}

TEST(Menu, AnActionMayRebuildTheMenuThatItStandsIn)
{
    toolkit::Menu menu("m");
    int chosen = 0;
    menu.add({.title = "a", .action = "a:", .perform = [&](const toolkit::MenuItem& sender) {
                  menu.remove(0);
                  chosen += sender.title == "a";
              }});
    menu.add({.title = "b", .isEnabled = false});
    menu.choose(1);
    menu.choose(0);
    EXPECT_EQ(chosen, 1);
    EXPECT_EQ(menu.item(0).title, "b");
}

TEST(UndoManager, TakesBackAndDoesAgain)
{
    toolkit::UndoManager steps;
    int value = 0;
    const std::function<void(int)> set = [&](int next) {
        steps.registerUndo("Set", [&set, before = value] { set(before); });
        value = next;
    };
    set(1);
    set(2);
    steps.undo();
    EXPECT_EQ(value, 1);
    steps.redo();
    EXPECT_EQ(value, 2);
    steps.undo();
    steps.undo();
    steps.undo();
    EXPECT_EQ(value, 0);
    EXPECT_EQ(steps.redoActionName(), "Set");
    set(5);
    EXPECT_FALSE(steps.canRedo()) << "a new step has no way back to what was undone";
}

TEST(TextField, ReadsTheLeadingWholeNumber)
{
    const std::pair<const char*, int> cases[] = {{"12", 12}, {"  7 x", 7}, {"-3", -3}, {"", 0}, {"x", 0},
        {"99999999999", 2147483647}, {"+5", 5}, {"+-5", 0}, {"+", 0}};
    for (const auto& [text, number] : cases) {
        toolkit::TextField field;
        field.stringValue = text;
        EXPECT_EQ(field.integerValue(), number) << text;
    }
}

TEST(Workspace, KeepsTheDocumentsOpenedLast)
{
    toolkit::Workspace workspace;
    for (int i = 0; i < 12; ++i)
        workspace.noteRecentDocument(std::to_string(i));
    workspace.noteRecentDocument("5");
    EXPECT_EQ(workspace.recentDocuments().size(), 10U);
    EXPECT_EQ(workspace.recentDocuments().at(0), "5");
    EXPECT_EQ(workspace.recentDocuments().at(1), "11");
}

} // namespace
