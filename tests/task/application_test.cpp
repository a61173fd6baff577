#include "diagnostics/KRMessageCenter.h"
#include "platform/ProcessInfo.h"
#include "platform/plist/PropertyList.h"
#include "platform/service/LocalService.h"
#include "task/WrapperOnDisk.h"
#include "task/application/KRTrelkindApplication.h"
#include "task/application/MainMenu.h"
#include "task/application/StartWindow.h"
#include "task/engine/SVTrelkindEngine.h"
#include "toolkit/Noted.h"
#include "toolkit/Workspace.h"

#include <gmock/gmock.h>

namespace {

using platform::Value;
using testing::ElementsAre;
using testing::IsEmpty;
namespace files = platform::files;

struct Engine : SVTrelkindEngine {
    using SVTrelkindEngine::SVTrelkindEngine;
    void updateStatus() override { ++updates; }
    int updates = 0;
    std::string queue;
};

struct Cluster : KRTrelkindMachine {
    std::string machineName() const override { return name; }
    std::string machineDescription() const override { return "me@" + name; }
    std::optional<std::vector<std::string>> queuNames() const override { return {{"short", "long"}}; }
    std::shared_ptr<SVTrelkindEngine> createTaskFor(
        SVTaskController& controller, const std::string& queue) override
    {
        if (queue == "broken")
            throw std::runtime_error("no such queue");
        auto engine = std::make_shared<Engine>(&controller);
        engine->queue = queue;
        return engine;
    }
    void fillFromPropertyList(const Value& list) override { name = *list.textFor("Machine Name"); }
    Value propertyList() const override
    {
        return name == "broken" ? Value() : Value(Value::Dictionary{{"Type", "LSF"}, {"Machine Name", name}});
    }
    std::string className() const override { return "Cluster"; }
    std::shared_ptr<toolkit::View> view() override { return shown; }
    std::shared_ptr<toolkit::View> shown = std::make_shared<toolkit::View>();
    std::string name = "new";
};

struct Application : testing::Test {
    Application()
    {
        KRTrelkindMachine::kinds()["LSF"] = [] { return std::make_shared<Cluster>(); };
    }
    ~Application() override
    {
        KRTrelkindMachine::kinds().clear();
        toolkit::Workspace::shared() = {};
    }

    static std::string machineList() { return platform::Places::library() + "/Machines.plist"; }
    static Value machine(const std::string& name) { return Value::Dictionary{{"Machine Name", name}}; }
    static std::string titles(const toolkit::Menu& menu, bool onlyEnabled = false)
    {
        std::string found;
        for (int i = 0; i < menu.count(); ++i)
            if (!onlyEnabled || menu.isEnabled(i))
                found += (found.empty() ? "" : ", ") + (menu.item(i).isSeparator ? "-" : menu.item(i).title);
        return found;
    }

    WrapperOnDisk wrapper;
    KRTrelkindApplication app;
};

TEST_F(Application, MakesItsFoldersAndRemakesTheScratchFolder)
{
    const std::string scratch = platform::Places::scratch();
    EXPECT_TRUE(files::isDirectory(platform::Places::library()));
    EXPECT_EQ(files::attributes(scratch)->permissions, 0700U);
    EXPECT_EQ(files::size(scratch + "/Empty"), 0U);
    // A second session shares the folder with the first one and does not remove it.
    EXPECT_TRUE(files::createDirectories(scratch + "/in use/deep") && ScratchFolder(scratch).isUsable());
    EXPECT_TRUE(files::exists(scratch + "/in use"));
    platform::Places::setRoot(wrapper.folder() / "elsewhere");
    const std::string theirs = platform::Places::scratch();
    EXPECT_TRUE(files::createDirectories(theirs + "/old/deep") && files::setPermissions(theirs, 0700));
    {
        const platform::FolderLock taken(theirs, platform::FolderLock::Kind::Exclusive);
        EXPECT_FALSE(ScratchFolder(theirs).isUsable());
        EXPECT_THAT(wrapper.messages(), ElementsAre("The scratch folder can not be used."));
    }
    platform::Pace::setFactor(0.001);
    KRTrelkindApplication other;
    platform::Pace::setFactor(1);
    EXPECT_THAT(files::contentsOfDirectory(theirs).value(), ElementsAre("Empty"));
    toolkit::Noted table(other.machineTable());
    EXPECT_TRUE(served([&] { return table.takeReload(); }, 5)) << "the table is read again every 30 seconds";
}

TEST_F(Application, OpensAPathOnce)
{
    EXPECT_EQ(KRTrelkindApplication::app(), &app);
    EXPECT_FALSE(KRTrelkindApplication::localMachine());
    EXPECT_THAT(KRTrelkindApplication::remoteMachinesOfServers(), IsEmpty());
    EXPECT_TRUE(app.applicationOpenFile(wrapper.path()));
    app.openTask(0, {"/elsewhere"});
    toolkit::Window other;
    other.orderFront();
    app.openTask(1, {wrapper.path()});
    ASSERT_EQ(app.listOfControllers().size(), 1U);
    EXPECT_EQ(toolkit::ShownWindows::shared().frontToBack().front(), app.listOfControllers()[0]->window());
    EXPECT_EQ(toolkit::Workspace::shared().recentDocuments().at(0), wrapper.path());
    const auto first = app.listOfControllers()[0]->serialNumber();
    EXPECT_EQ(app.openTaskWithName(wrapper.path() + "/.")->serialNumber(), first + 1);
}

TEST_F(Application, KeepsTheMachineList)
{
    const auto stored = [] {
        std::string names;
        const auto list = *platform::propertylist::readFile(machineList());
        for (const Value& entry : *list.array())
            names += entry.textFor("Machine Name").value_or("?") + " ";
        return names;
    };
    EXPECT_TRUE(platform::propertylist::writeAtomically(
        Value::Array{machine("a"), Value::Dictionary{{"Type", "Abacus"}}, machine("b")}, machineList()));
    app.awakeFromNib();
    EXPECT_THAT(wrapper.messages(), ElementsAre("Unkown type"));
    EXPECT_EQ(app.remoteMachines().size(), 2U);
    toolkit::Noted table(app.machineTable());
    platform::NotificationCenter::defaultCenter().post("SVReloadMachineList");
    EXPECT_TRUE(table.takeReload());
    EXPECT_EQ(cells(app.machineTable(), {""}), "me@a|me@b|");
    EXPECT_THAT(app.machines().acceptableDragTypes(), ElementsAre("SV Machine Definition"));
    for (const auto* help :
        {&app.helpCreateTask, &app.helpOverview, &app.helpRunningJobs, &app.helpSettingMachines})
        EXPECT_GT(help->string().size(), 100U);
    const auto first = app.machines().viewList().views().at(0);
    app.machines().moveController(0, 1);
    EXPECT_EQ(app.machines().viewList().views().at(1), first);
    app.addLSFMachine(false);
    EXPECT_FALSE(app.machineWindow().isVisible());
    app.addLSFMachine(true);
    EXPECT_TRUE(app.machineWindow().isVisible());
    EXPECT_EQ(app.machines().viewList().views().size(), 4U);
    EXPECT_EQ(stored(), "b a new new ");
    app.machines().removeController(3);
    app.machines().moveController(2, 0);
    EXPECT_EQ(stored(), "new b a ");

    std::static_pointer_cast<Cluster>(app.remoteMachines()[0])->name = "broken";
    app.saveMachineInformation();
    EXPECT_EQ(wrapper.messages().back(), "Could not get property from Cluster");
    EXPECT_EQ(stored(), "b a ");
    KRTrelkindMachine::kinds().clear();
    app.machines().fillFromPropertyList(Value::Array{machine("c")});
    app.saveMachineInformation();
    EXPECT_EQ(stored(), "b a ") << "a definition that can't be shown is kept";
    EXPECT_FALSE(app.validateMenuItem("addLSFMachine:"));
}

TEST_F(Application, AnUnreadableMachineListIsNotOverwritten)
{
    EXPECT_TRUE(files::writeFile(machineList(), "<plist><array><dict>"));
    app.awakeFromNib();
    app.addLSFMachine(false);
    EXPECT_EQ(files::readFile(machineList()), "<plist><array><dict>");
    EXPECT_THAT(wrapper.messages(),
        ElementsAre("Could not read Machines.plist.", "Could not save the machine list."));
}

TEST_F(Application, KeepsTheMenusInStepWithTheList)
{
    toolkit::Menu& menu = app.menuEntryWithMachines();
    const auto titlesWith = [&](const Value::Array& machines) {
        app.machines().fillFromPropertyList(machines);
        app.updateMachineInformation();
        return titles(menu);
    };
    EXPECT_EQ(titlesWith({}), "-, Add Machine");
    EXPECT_EQ(platform::propertylist::readFile(machineList()), Value(Value::Array()));
    for (int twice = 0; twice < 2; ++twice)
        EXPECT_EQ(titlesWith({machine("a"), machine("b")}), "me@a, me@b, -, Add Machine");
    EXPECT_EQ(menu.item(1).action, "runOnSpecificMachine:");
    EXPECT_EQ(titlesWith({machine("c")}), "me@c, -, Add Machine");

    toolkit::Menu runMenu;
    for (const char* title : {"Run here", "Elsewhere", "stale"})
        runMenu.add({.title = title});
    app.menuNeedsUpdate(runMenu);
    EXPECT_EQ(titles(runMenu), "Run here, Elsewhere, me@c : short, me@c : long");

    // The items of `menu` have no queue and start nothing. Both menus act on the wrapper in front.
    const auto controller = app.openTaskWithName(wrapper.path());
    const auto behind = app.openTaskWithName(wrapper.path() + "/.");
    app.openTaskWithName(wrapper.path());
    menu.choose(0);
    EXPECT_FALSE(controller->engine());
    runMenu.choose(3);
    ASSERT_TRUE(controller->engine());
    EXPECT_EQ(dynamic_cast<Engine*>(controller->engine())->queue, "long");
    EXPECT_FALSE(behind->engine() || app.validateMenuItem("runOnSpecificMachine:"));
    behind->window()->orderFront();
    EXPECT_TRUE(app.validateMenuItem("runOnSpecificMachine:"));
    controller->endAllTasks();
    EXPECT_TRUE(controller->engine()) << "an engine without a panel stays attached";
    menu.choose(2);
    EXPECT_EQ(app.remoteMachines().size(), 2U);

    behind->runOnSpecificMachine(KRTrelkindController::RunTarget{app.remoteMachines()[0], "broken"});
    EXPECT_THAT(wrapper.messages(), ElementsAre("Problem"));
    int setups = 0;
    KRTrelkindController::setupMaker() = [&](KRTrelkindController& task, const std::any&) {
        EXPECT_EQ(&task, behind.get());
        ++setups;
        return std::make_shared<toolkit::Window>();
    };
    behind->startOnRemoteMachine({});
    behind->startOnRemoteMachine({});
    EXPECT_EQ(setups, 1);
    EXPECT_NE(toolkit::ShownWindows::shared().frontToBack().front(), behind->window());
    KRTrelkindController::setupMaker() = nullptr;
}

TEST_F(Application, TheMainMenuOffersWhatCanBeDone)
{
    MainMenu mainMenu(app);
    toolkit::Menu& file = *mainMenu.menus().at(0);
    toolkit::Menu& edit = *mainMenu.menus().at(1);
    toolkit::Menu& batch = *mainMenu.menus().at(2);
    EXPECT_EQ(titles(file), "Open\u2026, Close, -, Quit");
    EXPECT_EQ(titles(batch),
        "Run on this computer, Run on cluster, End all tasks, -, Clear aborted tasks, Prepare for upload");
    EXPECT_EQ(file.item(0).key + file.item(1).key + file.item(3).key + batch.item(0).key,
        "Ctrl+OCtrl+WCtrl+QCtrl+R");
    EXPECT_EQ(titles(file, true), "Open\u2026, Quit");
    EXPECT_EQ(titles(batch, true), "Run on cluster");
    EXPECT_EQ(titles(*mainMenu.menus().at(5)) + "; " + titles(*mainMenu.menus().at(6)),
        "Machines, Messages, Progress; "
        "Overview, Making a task wrapper, Running tasks, Setting up machines, -, About Trelkind");
    toolkit::Workspace::shared().showFilePanel = [&](const toolkit::FilePanel& panel) {
        EXPECT_EQ(panel.title, "Open a task wrapper");
        EXPECT_EQ(panel.kind, toolkit::FilePanel::Kind::OpenFolders);
        panel.answered(1, {wrapper.path()});
    };
    wrapper.tasks({"a"}).information("Project Name", "/p").write("0/VTask_aborted");
    file.choose(0);
    EXPECT_EQ(
        titles(batch, true), "Run on this computer, Run on cluster, Clear aborted tasks, Prepare for upload");
    batch.choose(0);
    EXPECT_EQ(titles(batch, true), "Run on cluster, End all tasks, Clear aborted tasks, Prepare for upload");
    batch.choose(4);
    EXPECT_FALSE(wrapper.has("0/VTask_aborted"));
    batch.choose(5);
    EXPECT_TRUE(wrapper.has("Project/submit"));
    batch.choose(2);
    EXPECT_EQ(titles(batch, true), "Run on this computer, Run on cluster, Prepare for upload");

    toolkit::Menu& clusters = *batch.item(1).submenu;
    clusters.choose(0);
    clusters.needsUpdate(clusters);
    EXPECT_EQ(titles(clusters), "New Machine, -, me@new : short, me@new : long");
    app.machines().removeController(0);
    edit.needsUpdate(edit);
    EXPECT_EQ(titles(edit, true), "Undo Change of the Machines");
    edit.choose(0);
    EXPECT_EQ(app.remoteMachines().size(), 1U);
    edit.needsUpdate(edit);
    EXPECT_EQ(titles(edit, true), "Redo Change of the Machines");
    int quits = 0;
    mainMenu.whenQuitting = [&quits](MainMenu::Ending) { ++quits; };
    file.choose(3);
    EXPECT_EQ(quits, 1);
    file.choose(1); // The machines' window, which is in front.
    EXPECT_FALSE(app.machineWindow().isVisible() || app.listOfControllers().empty());
    file.choose(1);
    EXPECT_THAT(app.listOfControllers(), IsEmpty());
    int connects = 0;
    const auto observation = platform::NotificationCenter::defaultCenter().observe(
        "SVConnectToServer", [&](const auto& notification) { connects += notification.object == &app; });
    app.createMachineConnection();
    EXPECT_EQ(connects, 1);
    toolkit::Window window;
    toolkit::Table messages;
    window.setContent(&messages);
    KRMessageCenter::sharedMessageCenter()->setScrollView(&messages);
    mainMenu.menus().at(5)->choose(1);
    EXPECT_TRUE(window.isVisible());
    KRMessageCenter::sharedMessageCenter()->setScrollView(nullptr);
}

TEST_F(Application, TheMenusArrangeAndChooseTheTasksOfTheFrontWrapper)
{
    MainMenu mainMenu(app);
    toolkit::Menu& task = *mainMenu.menus().at(3);
    toolkit::Menu& view = *mainMenu.menus().at(4);
    const auto open = [&view](int index) -> toolkit::Menu& {
        toolkit::Menu& submenu = *view.item(index).submenu;
        submenu.needsUpdate(submenu);
        return submenu;
    };
    EXPECT_EQ(
        titles(open(2)) + titles(task, true) + titles(view, true), "Show, Sort By, Columns, First Column");
    wrapper.tasks({"a", "b"}).write("0/VTask_aborted");
    const auto controller = app.openTaskWithName(wrapper.path());
    toolkit::Table& table = controller->views()->taskList;
    EXPECT_EQ(titles(task, true), "Run Failed and Aborted Again");
    open(0).choose(static_cast<int>(ShownTasks::Aborted));
    EXPECT_EQ(table.numberOfRows(), 1);
    EXPECT_TRUE(open(0).item(static_cast<int>(ShownTasks::Aborted)).isChecked);
    table.selectRows({0});
    EXPECT_EQ(titles(task, true),
        "Run Selected Again, Run Failed and Aborted Again, Clear Selected\u2026, Open Run Folder, Open in "
        "Terminal");
    Cluster cluster;
    controller->connectMachine(cluster, "short");
    EXPECT_EQ(titles(task, true), "Clear Selected\u2026, Open Run Folder, Open in Terminal");
    controller->runSelectedAgain();
    controller->runFailedAndAbortedAgain();
    EXPECT_TRUE(wrapper.has("0/VTask_aborted")) << "it belongs to the batch on another machine";
    open(1).choose(2);
    EXPECT_EQ(table.arrangement().sorting, (toolkit::Sorting{"Description", false}));
    EXPECT_EQ(open(1).item(2).title, "Description (ascending)");
    EXPECT_TRUE(open(2).item(0).isChecked);
    open(2).choose(0);
    EXPECT_TRUE(table.isColumnHidden("Number") && !open(2).item(0).isChecked);
    open(3).choose(4);
    EXPECT_EQ(table.arrangement().places.front().column, "Progress");
    open(2).choose(open(2).count() - 1);
    EXPECT_EQ(table.arrangement().places.front().column, "Number");
    EXPECT_FALSE(table.isColumnHidden("Number"));
}

TEST_F(Application, TheStartWindowKeepsWhatWasOpenedLast)
{
    const std::string kept = platform::Places::library() + "/Recent Wrappers.plist";
    EXPECT_TRUE(platform::propertylist::writeAtomically(Value::Array{"/gone/Old.vtask", 7}, kept).ok());
    wrapper.tasks({"a", "b", "c", "d"});
    for (const char* mark : {"0/VTask_runCompleted", "0/VTask_runStarted", "1/VTask_runStarted",
             "2/VTask_aborted", "2/VTask_runStarted"})
        wrapper.write(mark);
    wrapper.plist("Remote Machine.plist", Value::Dictionary{{"Host", "cluster"}});
    const auto start = StartWindow::create(app);
    start->show();
    const auto cell = [&](const char* column, int row) {
        return toolkit::cellText(start->wrappers.value(column, row));
    };
    EXPECT_TRUE(platform::MainLoop::main().runUntil([&] { return cell("State", 0) == "not there"; }, 5));
    EXPECT_EQ(cell("Name", 0) + " in " + cell("Folder", 0), "Old.vtask in /gone");
    app.openTaskWithName(wrapper.path());
    EXPECT_TRUE(platform::MainLoop::main().runUntil(
        [&] { return cell("State", 0) == "1 of 4 done, 1 running, 1 aborted; on cluster"; }, 5))
        << cell("State", 0);
    EXPECT_EQ(
        *platform::propertylist::readFile(kept), Value(Value::Array{wrapper.path(), "/gone/Old.vtask"}));
    start->wrappers.selectRows({0});
    start->wrappers.whenActivated(0);
    EXPECT_FALSE(start->window.isVisible());
    EXPECT_TRUE(app.frontController()->window()->isVisible());
}

TEST_F(Application, AWrapperReconnectsToItsMachine)
{
    app.machines().fillFromPropertyList(Value::Array{machine("a"), machine("b"), machine("b")});
    wrapper.plist("Remote Machine.plist", Value::Dictionary{{"Host", "gone"}, {"Queue", "q"}});
    EXPECT_FALSE(app.openTaskWithName(wrapper.path())->engine());
    wrapper.plist("Remote Machine.plist", Value::Dictionary{{"Host", "b"}, {"Queue", "q"}});
    auto* engine = dynamic_cast<Engine*>(app.openTaskWithName(wrapper.path() + "/")->engine());
    ASSERT_TRUE(engine);
    EXPECT_FALSE(engine->isRunning() || engine->isAtWork(0) || engine->settingsView());
    EXPECT_TRUE(engine->queue == "q" && engine->updates == 1);
}

// The companion's end of the link.
struct Companion {
    explicit Companion(const std::string& path)
        : service(std::move(*platform::LocalService::offer(
            "SorvantaTrelkindNotify", [this, path](const std::string& operation, const Value& content) {
                EXPECT_EQ(operation, "recieveTrelkindNotification:");
                heard = *content.find(path);
                return Value();
            })))
    { }
    bool hears(const Value::Array& numbers)
    {
        return served([&] { return std::exchange(heard, {}) == Value(numbers); }, 10);
    }
    Value heard;
    std::unique_ptr<platform::LocalService> service;
};

TEST_F(Application, TellsTheCompanionWhatHasChanged)
{
    wrapper.tasks({"", "", ""}).write("1/VTask_runStarted");
    const auto controller = app.openTaskWithName(wrapper.path());
    SorvantaLink& link = app.sorvanta();
    const auto change = [&](std::size_t number) {
        app.sendSorvantaChangeNotification(*controller->taskInformation()[number]);
    };
    const auto isConnected = [&] { return link.isConnected(); };
    const auto held = [&] { return link.combinedContent().at(wrapper.path()); };
    for (int i = 0; i < 10; ++i)
        change(2);
    EXPECT_EQ(held(), (std::set{1, 2}));
    auto companion = std::make_unique<Companion>(wrapper.path());
    EXPECT_FALSE(isConnected()) << "it is looked for when the user changes application";
    app.applicationDidBecomeActive();
    EXPECT_TRUE(companion->hears({1, 2}));
    EXPECT_THAT(link.combinedContent(), IsEmpty());

    // Within three seconds after a message changes wait for the next event.
    platform::Pace::setFactor(0.1);
    const std::pair<std::function<void()>, Value::Array> events[] = {
        {[&] { change(0); }, {0, 1, 2}}, {[&] { app.applicationDidResignActive(); }, {1, 2}}};
    for (const auto& [event, numbers] : events) {
        change(1);
        app.sendSorvantaChangeNotificationMultiple({controller->taskInformation()[2]});
        EXPECT_FALSE(served([&] { return link.combinedContent().empty(); }, 0.5)) << "the time has passed";
        event();
        EXPECT_TRUE(companion->hears(numbers));
    }

    // A message that can't be sent is lost and reported.
    platform::Pace::setFactor(0);
    link.add(std::string(65 << 20, 'x'), 1);
    change(0);
    EXPECT_THAT(wrapper.messages(), ElementsAre("Error when connecting"));
    EXPECT_EQ(
        wrapper.lastLongMessage(), "Error when connecting (SendFailed,the companion takes no messages).");
    EXPECT_THAT(link.combinedContent(), IsEmpty());

    std::string logged;
    platform::setSystemLogReader([&](const std::string& line) { logged = line; });
    companion.reset();
    EXPECT_TRUE(served([&] { return !isConnected(); }, 10));
    EXPECT_EQ(logged, "Connection to Sorvanta closed down");
    platform::setSystemLogReader(nullptr);
    change(1);
    EXPECT_EQ(held(), std::set{1});
    companion = std::make_unique<Companion>(wrapper.path());
    app.applicationDidResignActive();
    EXPECT_TRUE(companion->hears({1}));
    platform::Pace::setFactor(1);
}

} // namespace
