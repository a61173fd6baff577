#include "diagnostics/KRMessageCenter.h"
#include "task/KRTrelkindApplication.h"
#include "task/MainMenu.h"
#include "task/SVTrelkindEngine.h"
#include "task/WrapperOnDisk.h"
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

// A cluster definition with two queues.
struct Cluster : KRTrelkindMachine {
    std::string machineName() const override { return name; }
    std::string machineDescription() const override { return "me@" + name; }
    std::vector<std::string> queuNames() const override { return {"short", "long"}; }
    std::shared_ptr<SVTrelkindEngine> createTaskFor(
        SVTaskController& controller, const std::string& queue) override
    {
        auto engine = std::make_shared<Engine>(&controller);
        engine->queue = queue;
        return engine;
    }
    void fillFromPropertyList(const Value& list) override
    {
        name = list.textFor("Machine Name").value_or("");
    }
    Value propertyList() const override
    {
        return name == "broken" ? Value() : Value(Value::Dictionary{{"Type", "LSF"}, {"Machine Name", name}});
    }
    std::string className() const override { return "Cluster"; }
    std::shared_ptr<toolkit::View> view() override { return shown; }
    std::shared_ptr<toolkit::View> shown = std::make_shared<toolkit::View>();
    std::string name = "new";
};

class Application : public testing::Test {
protected:
    Application()
    {
        KRTrelkindMachine::kinds()["LSF"] = [] { return std::make_shared<Cluster>(); };
    }
    ~Application() override { KRTrelkindMachine::kinds().clear(); }

    static void writeMachines(const Value& list)
    {
        EXPECT_TRUE(files::createDirectories(platform::Places::library()));
        EXPECT_TRUE(platform::propertylist::writeAtomically(list, machineList()));
    }
    static std::string machineList() { return platform::Places::library() + "/Machines.plist"; }
    static Value machine(const std::string& name) { return Value::Dictionary{{"Machine Name", name}}; }
    static std::vector<std::string> titles(const toolkit::Menu& menu, bool onlyEnabled = false)
    {
        std::vector<std::string> found;
        for (int i = 0; i < menu.count(); ++i)
            if (!onlyEnabled || menu.isEnabled(i))
                found.push_back(menu.item(i).isSeparator ? "-" : menu.item(i).title);
        return found;
    }

    WrapperOnDisk wrapper;
};

TEST_F(Application, MakesItsFoldersAndRemakesTheScratchFolder)
{
    const std::string scratch = platform::Places::scratch();
    EXPECT_TRUE(files::createDirectories(scratch + "/old/deep"));
    const KRTrelkindApplication app;
    EXPECT_TRUE(files::isDirectory(platform::Places::library()));
    EXPECT_THAT(files::contentsOfDirectory(scratch).value(), ElementsAre("Empty"));
    EXPECT_EQ(files::size(scratch + "/Empty"), 0U);
    EXPECT_EQ(files::attributes(scratch)->permissions, 0700U);
    // A second session shares the folder with the first one and does not remove it.
    EXPECT_TRUE(files::writeFile(scratch + "/in use", ""));
    EXPECT_TRUE(ScratchFolder(scratch).isUsable());
    EXPECT_TRUE(files::exists(scratch + "/in use"));
    EXPECT_EQ(KRTrelkindApplication::localMachine(), nullptr);
    EXPECT_THAT(KRTrelkindApplication::remoteMachinesOfServers(), IsEmpty());
}

TEST_F(Application, OpensAPathOnce)
{
    KRTrelkindApplication app;
    EXPECT_EQ(KRTrelkindApplication::app(), &app);
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
    writeMachines(Value::Array{machine("a"), Value::Dictionary{{"Type", "Abacus"}}, machine("b")});
    KRTrelkindApplication app;
    app.awakeFromNib();
    EXPECT_THAT(wrapper.messages(), ElementsAre("Unkown type"));
    EXPECT_EQ(app.remoteMachines().size(), 2U);
    EXPECT_THAT(app.machines().acceptableDragTypes(), ElementsAre("SV Machine Definition"));
    for (const auto* help :
        {&app.helpCreateTask, &app.helpOverview, &app.helpRunningJobs, &app.helpSettingMachines})
        EXPECT_GT(help->string().size(), 100U);
    const auto shown = [&] { return app.machines().viewList().views(); };
    EXPECT_THAT(shown(), testing::SizeIs(2));
    const auto first = shown().at(0);
    app.machines().moveController(0, 1);
    EXPECT_EQ(shown().at(1), first);
    app.addLSFMachine(true);
    EXPECT_TRUE(app.machineWindow().isVisible());
    const auto stored = [&] {
        std::vector<std::string> names;
        const auto list = *platform::propertylist::readFile(machineList());
        for (const Value& entry : *list.array())
            names.push_back(entry.textFor("Machine Name").value_or("?"));
        return names;
    };
    EXPECT_THAT(stored(), ElementsAre("b", "a", "new"));
    app.machines().moveController(2, 0);
    EXPECT_THAT(stored(), ElementsAre("new", "b", "a"));
    app.machines().removeController(0);
    EXPECT_THAT(stored(), ElementsAre("b", "a"));

    std::static_pointer_cast<Cluster>(app.remoteMachines()[0])->name = "broken";
    app.saveMachineInformation();
    EXPECT_THAT(wrapper.messages(), ElementsAre("Unkown type", "Could not get property from Cluster"));
    EXPECT_EQ(platform::propertylist::readFile(machineList())->array()->size(), 1U);
    app.machines().fillFromPropertyList({});
    app.saveMachineInformation();
    EXPECT_EQ(platform::propertylist::readFile(machineList()), Value(Value::Array()));
}

TEST_F(Application, AMachineListThatCanNotBeReadIsLeftAlone)
{
    EXPECT_TRUE(files::createDirectories(platform::Places::library()));
    EXPECT_TRUE(files::writeFile(machineList(), "<plist><array><dict>"));
    KRTrelkindApplication app;
    app.awakeFromNib();
    app.addLSFMachine(false);
    EXPECT_EQ(files::readFile(machineList()), "<plist><array><dict>");
    EXPECT_THAT(wrapper.messages(),
        ElementsAre("Could not read Machines.plist.", "Could not save the machine list."));
}

TEST_F(Application, KeepsTheMenusInStepWithTheList)
{
    KRTrelkindApplication app;
    toolkit::Menu& menu = app.menuEntryWithMachines();
    app.updateMenuOfMachines();
    EXPECT_THAT(titles(menu), ElementsAre("-", "Add Machine"));
    app.machines().fillFromPropertyList(Value::Array{machine("a"), machine("b")});
    app.updateMenuOfMachines();
    app.updateMenuOfMachines();
    EXPECT_THAT(titles(menu), ElementsAre("me@a", "me@b", "-", "Add Machine"));
    EXPECT_EQ(menu.item(1).action, "runOnSpecificMachine:");
    app.machines().fillFromPropertyList(Value::Array{machine("c")});
    app.updateMenuOfMachines();
    EXPECT_THAT(titles(menu), ElementsAre("me@c", "-", "Add Machine"));

    toolkit::Menu runMenu;
    for (const char* title : {"Run here", "Elsewhere", "stale"})
        runMenu.add({.title = title});
    app.menuNeedsUpdate(runMenu);
    EXPECT_THAT(titles(runMenu), ElementsAre("Run here", "Elsewhere", "me@c : short", "me@c : long"));

    // The first kind of item stands for a machine without a queue, with which nothing can be started.
    // They act on the wrapper in front.
    const auto controller = app.openTaskWithName(wrapper.path());
    const auto behind = app.openTaskWithName(wrapper.path() + "/.");
    EXPECT_TRUE(app.validateMenuItem("runOnSpecificMachine:"));
    app.openTaskWithName(wrapper.path());
    menu.choose(0);
    EXPECT_FALSE(controller->engine());
    runMenu.choose(3);
    ASSERT_TRUE(controller->engine());
    EXPECT_EQ(dynamic_cast<Engine*>(controller->engine())->queue, "long");
    EXPECT_FALSE(behind->engine());
    EXPECT_FALSE(app.validateMenuItem("runOnSpecificMachine:"));
    behind->window()->orderFront();
    EXPECT_TRUE(app.validateMenuItem("runOnSpecificMachine:"));
    controller->endAllTasks();
    EXPECT_TRUE(controller->engine()) << "an engine without a panel stays attached";
}

TEST_F(Application, TheMainMenuOffersWhatCanBeDone)
{
    KRTrelkindApplication app;
    MainMenu mainMenu(app);
    const auto& menus = mainMenu.menus();
    EXPECT_THAT(titles(*menus.at(0)), ElementsAre("Open\u2026", "Close", "-", "Quit"));
    EXPECT_THAT(titles(*menus.at(1)),
        ElementsAre("Run on this computer", "Run on cluster", "End all tasks", "-", "Clear aborted tasks",
            "Prepare for upload"));
    EXPECT_THAT(titles(*menus.at(0), true), ElementsAre("Open\u2026", "Quit"));
    EXPECT_THAT(titles(*menus.at(1), true), ElementsAre("Run on cluster"));
    auto& workspace = toolkit::Workspace::shared();
    workspace.showFilePanel = [&](const toolkit::FilePanel& panel) {
        EXPECT_EQ(panel.title, "Open a task wrapper");
        EXPECT_EQ(panel.kind, toolkit::FilePanel::Kind::OpenFolders);
        panel.answered(1, {wrapper.path()});
    };
    wrapper.tasks({"a"}).write("0/VTask_aborted");
    menus[0]->choose(0);
    ASSERT_EQ(app.listOfControllers().size(), 1U);
    const auto controller = app.listOfControllers()[0];
    EXPECT_THAT(titles(*menus[1], true),
        ElementsAre("Run on this computer", "Run on cluster", "Clear aborted tasks"));
    menus[1]->choose(0);
    EXPECT_THAT(
        titles(*menus[1], true), ElementsAre("Run on cluster", "End all tasks", "Clear aborted tasks"));
    menus[1]->choose(4);
    EXPECT_FALSE(wrapper.has("0/VTask_aborted"));
    menus[1]->choose(2);
    EXPECT_THAT(titles(*menus[1], true), ElementsAre("Run on this computer", "Run on cluster"));
    EXPECT_FALSE(controller->validateMenuItem("terminateSelection:"));

    const auto clusters = menus[1]->item(1).submenu;
    clusters->needsUpdate(*clusters);
    EXPECT_THAT(titles(*clusters), ElementsAre("New Machine", "-"));
    clusters->choose(0);
    clusters->needsUpdate(*clusters);
    EXPECT_THAT(titles(*clusters, true), ElementsAre("New Machine", "me@new : short", "me@new : long"));

    std::string keys;
    for (const auto& [menu, item] : {std::pair(0, 0), {0, 1}, {0, 3}, {1, 0}})
        keys += menus[static_cast<std::size_t>(menu)]->item(item).key + " ";
    EXPECT_EQ(keys, "Ctrl+O Ctrl+W Ctrl+Q Ctrl+R ");
    menus.at(2)->choose(0);
    int quits = 0;
    mainMenu.whenQuitting = [&quits] { ++quits; };
    menus[0]->choose(3);
    EXPECT_EQ(quits, 1);
    menus[0]->choose(1);
    EXPECT_THAT(app.listOfControllers(), IsEmpty());
    workspace = {};
}

TEST_F(Application, AWrapperGoesBackToTheMachineThatItWasBoundTo)
{
    writeMachines(Value::Array{machine("a"), machine("b"), machine("b")});
    KRTrelkindApplication app;
    app.awakeFromNib();
    wrapper.plist("Remote Machine.plist", Value::Dictionary{{"Host", "gone"}, {"Queue", "q"}});
    EXPECT_FALSE(app.openTaskWithName(wrapper.path())->engine());
    wrapper.plist("Remote Machine.plist", Value::Dictionary{{"Host", "b"}, {"Queue", "q"}});
    const auto* engine = dynamic_cast<Engine*>(app.openTaskWithName(wrapper.path() + "/")->engine());
    ASSERT_TRUE(engine);
    EXPECT_EQ(engine->queue, "q");
    EXPECT_EQ(engine->updates, 1);
}

TEST_F(Application, TellsTheWindowsThatMachinesHaveChanged)
{
    KRTrelkindApplication app;
    toolkit::Noted table(app.machineTable());
    platform::NotificationCenter::defaultCenter().post("SVReloadMachineList");
    EXPECT_TRUE(table.takeReload());
    int connects = 0;
    const auto observation = platform::NotificationCenter::defaultCenter().observe(
        "SVConnectToServer", [&](const auto& notification) { connects += notification.object == &app; });
    app.createMachineConnection();
    EXPECT_EQ(connects, 1);
}

} // namespace
