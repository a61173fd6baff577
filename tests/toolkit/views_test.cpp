#include "toolkit/Controls.h"
#include "toolkit/KRDraggableViewsController.h"
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

// Sets a value of a model twice: it is kept, and told once.
template <class Model, class Value>
void expectKept(Model& model, void (Model::*set)(Value), const auto& get, const auto& value)
{
    toolkit::Noted noted(model);
    for (int time = 0; time < 2; ++time) {
        (model.*set)(value);
        platform::MainLoop::main().runPending();
        EXPECT_TRUE(get(model) == value);
        EXPECT_EQ(noted.times, 1);
    }
}

TEST(Model, KeepsWhatIsSetAndTellsIt)
{
    const auto of = [](auto get) { return [get](const auto& model) { return (model.*get)(); }; };
    using namespace toolkit;
    View view;
    expectKept(view, &View::setAccessibleName, of(&View::accessibleName), std::string("n"));
    expectKept(view, &View::setLayout, of(&View::layout), std::string("l"));
    expectKept(view, &View::setFrame, of(&View::frame), Rect{1, 2, 3, 4});
    expectKept(view, &View::setBounds, of(&View::bounds), Rect{1, 2, 3, 4});
    expectKept(view, &View::setHidden, of(&View::isHidden), true);
    Window window;
    expectKept(window, &Window::setTitle, of(&Window::title), std::string("t"));
    expectKept(window, &Window::setLayout, of(&Window::layout), std::string("l"));
    TextField field;
    expectKept(field, &TextField::setStringValue, of(&TextField::stringValue), std::string("s"));
    expectKept(field, &TextField::setEditable, of(&TextField::isEditable), false);
    expectKept(field, &TextField::setColumns, of(&TextField::columns), 8);
    TextView text;
    expectKept(text, &TextView::setString, of(&TextView::string), std::string("s"));
    expectKept(text, &TextView::setRich, of(&TextView::isRich), true);
    expectKept(text, &TextView::setEditable, of(&TextView::isEditable), false);
    Button button;
    expectKept(button, &Button::setTitle, of(&Button::title), std::string("t"));
    expectKept(button, &Button::setEnabled, of(&Button::isEnabled), false);
    expectKept(button, &Button::setState, of(&Button::state), 1);
    ProgressBar bar;
    expectKept(bar, &ProgressBar::setDoubleValue, of(&ProgressBar::doubleValue), 7.0);
    expectKept(bar, &ProgressBar::setIndeterminate, of(&ProgressBar::isIndeterminate), true);
    expectKept(bar, &ProgressBar::setAnimating, of(&ProgressBar::isAnimating), true);
    TabView tabs;
    expectKept(tabs, &TabView::select, of(&TabView::selectedIdentifier), std::string("t"));
    ViewList list;
    expectKept(list, &ViewList::setSpaceToTheLeft, of(&ViewList::spaceToTheLeft), 7.0);
    Table table;
    expectKept(table, &Table::setPlaceholder, of(&Table::placeholder), std::string("t"));
    expectKept(table, &Table::setRowHeight, of(&Table::rowHeight), 9.0);

    bar.setRange(2, 5);
    EXPECT_EQ(bar.minimum() + bar.maximum(), 7);
    window.setSizeLimits({1, 2}, {3, 4});
    EXPECT_EQ(window.minimumSize(), (Size{1, 2}));
    EXPECT_EQ(window.maximumSize(), (Size{3, 4}));
}

TEST(Model, TellsWhatAnActionChanges)
{
    toolkit::TextField field;
    toolkit::PopUp popUp;
    toolkit::TabView tabs;
    toolkit::Menu menu("Title");
    EXPECT_EQ(menu.title(), "Title");
    const toolkit::Change value{.value = true};
    const toolkit::Change selection{.selection = true};
    const toolkit::Change structure{.structure = true};
    const toolkit::Change both{.selection = true, .structure = true};
    const struct {
        toolkit::Model& model;
        std::function<void()> action;
        toolkit::Change told;
    } cases[] = {{field, [&] { field.edit("typed"); }, value}, {field, [&] { field.cancelEditing(); }, value},
        {field, [&] { field.commit("committed"); }, value},
        {popUp,
            [&] {
                popUp.setItems({"a", "b"});
            },
            both},
        {popUp, [&] { popUp.selectIndex(1); }, selection}, {popUp, [&] { popUp.selectIndex(2); }, {}},
        {tabs,
            [&] {
                tabs.addTab({"A", "a", &field});
            },
            both},
        {tabs,
            [&] {
                tabs.addTab({"B", "b", nullptr});
            },
            both},
        {tabs, [&] { tabs.choose("B"); }, selection}, {menu, [&] { menu.add({.title = "b"}); }, structure},
        {menu, [&] { menu.insert(0, {.title = "a"}); }, structure},
        {menu, [&] { menu.remove(0); }, structure},
        {menu, [&] { menu.change(0, [](toolkit::MenuItem& item) { item.title = "c"; }); }, value}};
    for (const auto& one : cases) {
        toolkit::Noted noted(one.model);
        one.action();
        platform::MainLoop::main().runPending();
        EXPECT_EQ(noted.all, one.told) << &one - cases;
    }
    EXPECT_EQ(menu.item(0).title, "c");
    EXPECT_EQ(field.superview(), &tabs);
    toolkit::View other;
    other.addSubview(field);
    EXPECT_TRUE(tabs.subviews().empty()) << "a view has one parent";
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
    EXPECT_EQ(toolkit::cellText("text"), "text");
    EXPECT_EQ(table.visibleRange(), (toolkit::Table::VisibleRange{0, 2})) << "nothing hides a row";
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
    table.scrollRowToVisible(0);
    EXPECT_EQ(table.visibleRange(), (toolkit::Table::VisibleRange{0, 5}));
    table.setVisibleRange({90, 20});
    EXPECT_EQ(clip.bounds().y, 900);
    EXPECT_EQ(table.visibleRange(), (toolkit::Table::VisibleRange{90, 10}));
}

TEST(Table, AsksItsDelegateForCellsAndMenus)
{
    struct Delegate : toolkit::TableDelegate {
        void willDisplayCell(
            toolkit::Table&, toolkit::CellStyle& style, std::string_view column, int row) override
        {
            style.font = std::string(column) + std::to_string(row);
        }
        std::shared_ptr<toolkit::Menu> contextMenuForTableRow(toolkit::Table&, int row) override
        {
            return row == 1 ? menu : nullptr;
        }
        std::shared_ptr<toolkit::Menu> menu = std::make_shared<toolkit::Menu>();
    } delegate;
    Rows rows;
    toolkit::Table table;
    toolkit::Table other;
    toolkit::Table* held = nullptr;
    EXPECT_EQ(table.contextMenu(1), nullptr);
    EXPECT_FALSE(table.styleForDisplay("c", 1).font);
    table.setDelegate(&delegate);
    EXPECT_EQ(table.contextMenu(1), delegate.menu);
    EXPECT_EQ(table.contextMenu(0), nullptr);
    EXPECT_EQ(table.styleForDisplay("c", 1).font, "c1");

    toolkit::moveSource(rows, held, &table);
    EXPECT_EQ(held, &table);
    EXPECT_EQ(table.dataSource(), &rows);
    toolkit::Noted former(table);
    toolkit::moveSource(rows, held, &other);
    EXPECT_EQ(table.dataSource(), nullptr);
    EXPECT_TRUE(former.takeReload());
    EXPECT_EQ(other.dataSource(), &rows);
    Rows newer;
    other.setDataSource(&newer);
    toolkit::moveSource(rows, held, nullptr);
    EXPECT_EQ(other.dataSource(), &newer) << "another source has it by now";
    EXPECT_EQ(held, nullptr);
}

struct DraggedEntry : KRDraggableEntry {
    explicit DraggedEntry(platform::Value value) : kept(std::move(value)) { }
    void fillFromPropertyList(const platform::Value& value) override { kept = value; }
    platform::Value propertyList() const override { return kept; }
    std::string className() const override { return "Dragged"; }
    std::shared_ptr<toolkit::View> view() override { return shown; }
    std::vector<std::string> draggingTypes() const override { return {"entry"}; }
    platform::Value kept;
    std::shared_ptr<toolkit::View> shown = std::make_shared<toolkit::View>();
};

struct DragDelegate : KRDraggableViewsDelegate {
    Controller controllerFor(KRDraggableViewsController&, const platform::Value& value) override
    {
        return value.text() ? std::make_shared<DraggedEntry>(value) : nullptr;
    }
    void couldNotGetPropertyFrom(const std::string& name) override { told += "?" + name; }
    void entriesWereAdded(const std::vector<Controller>&, KRDraggableViewsController&) override
    {
        told += "+";
    }
    void willRemoveFromController(KRDraggableViewsController&, KRDraggableEntry&) override { told += "-"; }
    void userActionStartedForDragController(KRDraggableViewsController&) override { told += "("; }
    void userActionEndedForDragController(KRDraggableViewsController&) override { told += ")"; }
    std::string told;
};

TEST(DraggableViews, KeepTheOrderThatTheUserGivesThem)
{
    using platform::Value;
    DragDelegate delegate;
    KRDraggableViewsController list(delegate);
    list.fillFromPropertyList("no array");
    list.fillFromPropertyList(Value::Array{"a", 7, "b", "c"});
    list.moveController(0, 2);
    list.moveController(3, 0);
    list.moveController(0, 3);
    EXPECT_EQ(list.propertyList(), Value(Value::Array{"b", "c", "a"}));
    list.removeController(3);
    list.removeController(1);
    list.addControllerToEnd(nullptr);
    list.addControllerToEnd(std::make_shared<DraggedEntry>(Value()));
    EXPECT_EQ(list.propertyList(), Value(Value::Array{"b", "a"})) << "an entry without one is left out";
    EXPECT_EQ(delegate.told, "()(-)+?Dragged");

    list.forceViewReset();
    list.moveController(0, 1);
    list.moveController(1, 0);
    list.moveController(2, 1);
    const auto before = list.controllers();
    list.forceViewReset();
    ASSERT_EQ(list.viewList().views().size(), 3U);
    list.viewList().select({0, 2, 7});
    delegate.told.clear();
    list.viewList().whenRemoved();
    EXPECT_EQ(delegate.told, "(--)");
    EXPECT_EQ(list.controllers(), (decltype(before){before[1]}));
    list.setControllers(before);
    list.forceViewReset();
    EXPECT_TRUE(list.viewList().selectedRows().empty());
    EXPECT_EQ(list.viewList().views()[1], list.controllers()[1]->view());
    EXPECT_EQ(list.viewList().views()[0]->superview(), &list.viewList());
    list.viewList().add(list.controllers()[0]->view());
    list.viewList().add(nullptr);
    list.viewList().remove(list.controllers()[1]->view());
    EXPECT_EQ(list.viewList().views().size(), 2U);
    EXPECT_EQ(list.controllers()[1]->view()->superview(), nullptr);

    EXPECT_FALSE(list.accepts(*list.controllers()[0]));
    list.setAcceptableDragTypes({"x", "entry"});
    EXPECT_TRUE(list.accepts(*list.controllers()[0]));
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
        {
            toolkit::View brief;
            root.addSubview(brief);
            EXPECT_EQ(root.subviews().size(), 2U);
        }
        EXPECT_EQ(root.subviews().size(), 1U);
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
    toolkit::Noted shown(toolkit::ShownWindows::shared());
    window.orderFront();
    platform::MainLoop::main().runPending();
    EXPECT_TRUE(shown.all.order);
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
    field.edit("8");
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
    toolkit::Button button;
    button.whenPressed = [&] { ++pressed; };
    button.setEnabled(false);
    button.press();
    EXPECT_EQ(pressed, 1);

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
    EXPECT_EQ(queues.items(), std::vector<std::string>{"x"});

    toolkit::TabView tabs;
    tabs.addTab({"A", "A", nullptr});
    tabs.addTab({"B", "B", nullptr});
    std::string before;
    tabs.willSelect = [&] { before = tabs.selectedIdentifier(); };
    tabs.choose("B");
    EXPECT_EQ(before + tabs.selectedIdentifier(), "AB");

    toolkit::TextView text;
    std::string edits;
    text.whenEdited = [&] { edits += text.string(); };
    text.whenEditingEnded = [&] { edits += "."; };
    text.edit("a");
    text.setEditable(false);
    text.edit("b");
    text.endEditing();
    EXPECT_EQ(edits, "a.");
}

TEST(UndoManager, TakesBackAndDoesAgain)
{
    toolkit::UndoManager steps;
    EXPECT_FALSE(steps.canUndo() || steps.canRedo());
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
    EXPECT_TRUE(steps.canUndo());
    EXPECT_EQ(steps.undoActionName(), "Set");
    steps.removeAllActions();
    EXPECT_FALSE(steps.canUndo());
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
    EXPECT_EQ(std::count(workspace.recentDocuments().begin(), workspace.recentDocuments().end(), "5"), 1);
}

} // namespace
