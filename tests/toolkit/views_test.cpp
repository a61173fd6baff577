#include "toolkit/Controls.h"
#include "toolkit/Menu.h"
#include "toolkit/Noted.h"
#include "toolkit/Table.h"
#include "toolkit/ViewList.h"
#include "toolkit/Window.h"
#include "toolkit/Workspace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

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

TEST(Model, TellsOnceATurnWhatHasChangedAndAtOnceThatItEnds)
{
    auto field = std::make_unique<toolkit::TextField>();
    toolkit::Noted noted(*field);
    auto dropped = std::make_unique<toolkit::Noted>(*field);
    field->setStringValue("a");
    field->setStringValue("b");
    field->setHidden(true);
    EXPECT_EQ(noted.times, 0);
    dropped.reset();
    platform::MainLoop::main().runPending();
    EXPECT_EQ(noted.times, 1);
    EXPECT_EQ(noted.all, toolkit::Change{.value = true});
    field->setStringValue("b");
    platform::MainLoop::main().runPending();
    EXPECT_EQ(noted.times, 1) << "the same value is no change";
    field->setStringValue("c");
    field.reset();
    EXPECT_TRUE(noted.ended);
    platform::MainLoop::main().runPending();
    EXPECT_EQ(noted.times, 1);
}

TEST(Model, ANoticeMayEndItsOwnAndOtherObservations)
{
    toolkit::Button button;
    int told = 0;
    toolkit::Model::Observation second;
    toolkit::Model::Observation first = button.observe([&](const toolkit::Change&) {
        ++told;
        first = {};
        second = {};
    });
    second = button.observe([&](const toolkit::Change&) { told += 10; });
    for (int state : {1, 0}) {
        button.setState(state);
        platform::MainLoop::main().runPending();
    }
    EXPECT_EQ(told, 1);
}

TEST(Table, TellsRowsDataSelectionAndColumnsApart)
{
    Rows rows;
    toolkit::Table table;
    table.setDataSource(&rows);
    toolkit::Noted noted(table);
    const auto told = [&] {
        platform::MainLoop::main().runPending();
        return std::exchange(noted.all, {});
    };
    told();
    rows.count = 7;
    table.noteNumberOfRowsChanged();
    EXPECT_EQ(told(), (toolkit::Change{.value = true, .rows = true})) << "its height is another one, too";
    table.reloadData();
    EXPECT_EQ(told(), toolkit::Change{.data = true});
    table.selectRows({2});
    EXPECT_EQ(told(), toolkit::Change{.selection = true});
    table.setColumns({{.identifier = "A"}});
    EXPECT_EQ(told(), toolkit::Change{.structure = true});
    EXPECT_TRUE(table.column("A"));
    EXPECT_FALSE(table.column("B"));
}

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
    clip.setBounds({0, 0, 100, 50});
    clip.addSubview(table);
    table.setRowHeight(10);
    table.setDataSource(&rows);
    table.scrollRowToVisible(99);
    EXPECT_EQ(clip.bounds().y, 950);
    table.scrollRowToVisible(3);
    EXPECT_EQ(clip.bounds().y, 30);
    EXPECT_EQ(table.visibleRange(), (toolkit::Table::VisibleRange{3, 5}));
    table.setVisibleRange({90, 20});
    EXPECT_EQ(clip.bounds().y, 900);
    EXPECT_EQ(table.visibleRange(), (toolkit::Table::VisibleRange{90, 10}));
}

TEST(View, LeavesItsParentAndLetsItsChildrenGo)
{
    toolkit::Window window;
    toolkit::View child;
    {
        toolkit::View root;
        window.setContent(&root);
        root.addSubview(child);
        EXPECT_EQ(child.window(), &window);
        toolkit::View brief;
        root.addSubview(brief);
        EXPECT_EQ(root.subviews().size(), 2U);
    }
    EXPECT_EQ(window.content(), nullptr);
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

TEST(Menu, AValidatorSettlesWhatIsEnabled)
{
    toolkit::Menu menu;
    menu.add({.title = "a", .action = "a:"});
    menu.add(toolkit::MenuItem::separator());
    menu.add({.title = "without an action", .isEnabled = false});
    EXPECT_TRUE(menu.isEnabled(0));
    menu.validator = [](const std::string& action) { return action != "a:"; };
    for (int index = 0; index < menu.count(); ++index)
        EXPECT_FALSE(menu.isEnabled(index)) << index;
    toolkit::Noted noted(menu);
    menu.change(2, [](toolkit::MenuItem& item) { item.isChecked = item.isEnabled = true; });
    platform::MainLoop::main().runPending();
    EXPECT_EQ(noted.all, toolkit::Change{.value = true});
    EXPECT_TRUE(menu.isEnabled(2));
}

TEST(Window, ClosesUnlessTheLogicRefuses)
{
    toolkit::Window window;
    window.orderFront();
    bool mayClose = false;
    window.shouldClose = [&] { return mayClose; };
    EXPECT_FALSE(window.userCloses());
    EXPECT_TRUE(window.isVisible());
    mayClose = true;
    EXPECT_TRUE(window.userCloses());
    EXPECT_FALSE(window.isVisible());
    EXPECT_EQ(std::count(toolkit::ShownWindows::shared().frontToBack().begin(),
                  toolkit::ShownWindows::shared().frontToBack().end(), &window),
        0);
}

TEST(TextField, KeepsWhatTheUserTypesFromTheLogicUntilItIsCommitted)
{
    toolkit::TextField field;
    std::string told;
    field.whenEdited = [&] { told += "e" + field.stringValue(); };
    field.whenCommitted = [&] { told += "c" + field.stringValue(); };
    field.setStringValue("1");
    field.edit("12");
    field.setStringValue("7");
    EXPECT_EQ(field.displayedText(), "12");
    EXPECT_EQ(field.stringValue(), "7");
    field.commit();
    field.commit();
    EXPECT_EQ(field.stringValue(), "12");
    field.edit("3");
    field.cancelEditing();
    EXPECT_EQ(field.displayedText(), "12");
    field.setEditable(false);
    field.commit("9");
    EXPECT_EQ(field.stringValue(), "12");
    EXPECT_EQ(told, "e1c12e12");
}

TEST(Controls, APressOrAChoiceDoesWhatItMeans)
{
    toolkit::CheckBox box;
    int pressed = 0;
    box.whenPressed = [&] { pressed += box.state(); };
    box.press();
    box.press();
    box.setEnabled(false);
    box.press();
    box.setEnabled(true);
    box.setHidden(true);
    box.press();
    EXPECT_EQ(pressed, 1);
    EXPECT_EQ(box.state(), 0);

    toolkit::PopUp queues;
    EXPECT_EQ(queues.selectedIndex(), -1);
    queues.setItems({"a", "b"});
    queues.choose(1);
    queues.choose(5);
    EXPECT_EQ(queues.selectedIndex(), 1);
    queues.setItems({"x", "y", "b"});
    EXPECT_EQ(queues.selectedIndex(), 2) << "the same item at its new place";
    queues.setItems({"x"});
    EXPECT_EQ(queues.selectedIndex(), 0);

    toolkit::TabView tabs;
    tabs.addTab({"A", "A", nullptr});
    tabs.addTab({"B", "B", nullptr});
    std::string before;
    tabs.willSelect = [&] { before = tabs.selectedIdentifier(); };
    tabs.choose("B");
    EXPECT_EQ(before + tabs.selectedIdentifier(), "AB");
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
        field.setStringValue(text);
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
