// A cluster's definition: its form, its entry in the list and in the menus, its password, the check of the
// login and the listing of its work folder.

#include "apps/composition/Composition.h"
#include "remote/cluster/LoopbackCluster.h"
#include "task/application/KRTrelkindApplication.h"

#include <gmock/gmock.h>

namespace {

using platform::Value;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class ClusterMachine : public testing::Test {
protected:
    std::string list() const { return platform::Places::library() + "/Machines.plist"; }
    void storeList(const Value::Array& entries) const
    {
        EXPECT_TRUE(platform::files::createDirectories(platform::Places::library()));
        EXPECT_TRUE(platform::propertylist::writeAtomically(entries, list()));
    }
    Value::Array storedList() const
    {
        const auto stored = platform::propertylist::readFile(list());
        return stored && stored->array() ? *stored->array() : Value::Array();
    }
    static std::vector<std::string> titles(const toolkit::Menu& menu)
    {
        std::vector<std::string> found;
        for (int i = 0; i < menu.count(); ++i)
            found.push_back(menu.item(i).isSeparator ? "-" : menu.item(i).title);
        return found;
    }

    Program program;
    WrapperOnDisk wrapper;
};

TEST_F(ClusterMachine, OffersEachQueueOnce)
{
    struct Case {
        const char* field;
        std::optional<std::vector<std::string>> names;
    };
    const auto machine = KRTrelkindMachineLSF::createFromNib();
    for (const Case& one : {Case{"", std::nullopt}, Case{" , ,", {{}}}, Case{"short", {{"short"}}},
             Case{" b , a,,\tb,a b ,b", {{"b", "a", "a b"}}}}) {
        machine->form().queueNameField.setStringValue(one.field);
        EXPECT_EQ(machine->queuNames(), one.names) << one.field;
        EXPECT_EQ(machine->queuName(), one.field);
    }
    EXPECT_EQ(machine->machineDescription(), "@");
    EXPECT_EQ(machine->workDirectory(), "TrelkindWorkDirectory");
    EXPECT_EQ(machine->password(), "");
    machine->form().workDirectoryNameField.setStringValue("/scratch");
    EXPECT_EQ(machine->workDirectory(), "/scratch");
    EXPECT_THAT(machine->draggingTypes(), ElementsAre("SV Machine Definition"));
    EXPECT_TRUE(machine->form().view.hasBorder());
}

TEST_F(ClusterMachine, LivesInTheListOfTheApplication)
{
    const Value known =
        Value::Dictionary{{"User Name", "u"}, {"Machine Name", "h"}, {"Queue", "q, r"}, {"Type", "LSF"},
            {"Port", 2222}, {"Key File", "~/.ssh/k"}, {"Through", "a@b"}, {"Allow Old Algorithms", true}};
    storeList({known, Value::Dictionary{{"Type", "PBS"}, {"Machine Name", "lost"}},
        Value::Dictionary{{"Machine Name", "h"}, {"Port", 70000}}, Value::Dictionary{}});
    KRTrelkindApplication app;
    app.awakeFromNib();
    EXPECT_THAT(wrapper.messages(), ElementsAre("Unkown type"));
    const auto machines = app.remoteMachines();
    ASSERT_EQ(machines.size(), 3) << "an entry without a type is a cluster";
    for (const auto& machine : machines)
        EXPECT_FALSE(static_cast<KRTrelkindMachineLSF&>(*machine).form().view.isOpen());
    const auto& first = static_cast<KRTrelkindMachineLSF&>(*machines[0]);
    EXPECT_EQ(first.access(), (MachineAccess{"~/.ssh/k", 2222, "a@b", true}));
    EXPECT_EQ(static_cast<KRTrelkindMachineLSF&>(*machines[1]).access(), MachineAccess{});
    EXPECT_EQ(MachineAddress::of("h", first.access()).port, 2222);
    EXPECT_EQ(MachineAddress::of("h", {}).port, 22);

    // Each change of a field is saved; the unknown kind is gone with it.
    auto& form = static_cast<KRTrelkindMachineLSF&>(*machines[1]).form();
    form.userNameField.commit("v");
    form.queueNameField.commit("s");
    EXPECT_EQ(form.descriptionField.stringValue(), "v@h");
    form.workDirectoryNameField.commit("elsewhere");
    EXPECT_EQ(storedList(),
        (Value::Array{known,
            Value::Dictionary{{"User Name", "v"}, {"Machine Name", "h"}, {"Queue", "s"}, {"Type", "LSF"}},
            Value::Dictionary{{"User Name", ""}, {"Machine Name", ""}, {"Queue", ""}, {"Type", "LSF"}}}))
        << "the work folder is not stored";

    toolkit::Menu menu;
    menu.add({.title = "Here"});
    menu.add(toolkit::MenuItem::separator());
    menu.add({.title = "stale"});
    app.menuNeedsUpdate(menu);
    EXPECT_THAT(titles(menu), ElementsAre("Here", "-", "u@h : q", "u@h : r", "v@h : s"));
    app.addLSFMachine(false);
    EXPECT_EQ(storedList().size(), 4);
}

TEST_F(ClusterMachine, KeepsItsPasswordByHostAndAccount)
{
    const auto fill = [](const std::string& user, const std::string& host) {
        auto machine = KRTrelkindMachineLSF::createFromNib();
        machine->fillFromPropertyList(Value::Dictionary{{"User Name", user}, {"Machine Name", host}});
        return machine;
    };
    const auto kept = [&](const std::string& user, const std::string& host) {
        return fill(user, host)->password();
    };
    fill("u", "")->form().passwordField.commit("for nobody");
    EXPECT_EQ(kept("u", ""), "");
    fill("u", "h")->form().passwordField.commit("secret");
    fill("", "h")->form().passwordField.commit("own");
    EXPECT_EQ(kept("u", "h"), "secret");
    EXPECT_EQ(kept("u", "i"), "");
    EXPECT_EQ(kept("", "h"), "own");
    EXPECT_EQ(kept(platform::loginName(), "h"), "own") << "the account of an empty user name";
    EXPECT_EQ(fill("", "h")->passwordInfo()->userName(), "") << "which is sent as it is";
    const auto machine = fill("u", "h");
    machine->form().passwordField.commit("");
    EXPECT_EQ(kept("u", "h"), "secret") << "an empty one isn't kept";
    machine->form().passwordField.commit("changed");
    EXPECT_EQ(kept("u", "h"), "changed");
    machine->form().userNameField.commit("w"); // What is typed goes with the new name.
    EXPECT_EQ(kept("w", "h"), "changed");
    EXPECT_EQ(platform::files::readFile(list()).value_or("").find("changed"), std::string::npos);
    EXPECT_EQ(machine->propertyList().find("Password"), nullptr);
    machine->fillFromPropertyList("no dictionary");
    EXPECT_EQ(machine->machineDescription(), "w@h");
}

TEST_F(ClusterMachine, ChecksItsLoginAndListsItsFolder)
{
    const LoopbackCluster cluster;
    if (!cluster.works())
        GTEST_SKIP() << "A server with an account of its own needs to be root.";
    KRTrelkindApplication app;
    app.awakeFromNib();
    const auto machine = cluster.machine();
    app.machines().addControllerToEnd(machine);
    auto& form = machine->form();
    const auto check = [&](const std::string& password, const std::string& folder) {
        form.passwordField.setStringValue(password);
        form.workDirectoryNameField.setStringValue(folder);
        form.checkButton.press();
        EXPECT_TRUE(machine->isBeingChecked());
        EXPECT_FALSE(form.userNameField.isEditable()) << "locked while it lasts";
        EXPECT_FALSE(form.checkButton.isEnabled());
        EXPECT_TRUE(served([&] { return !machine->isBeingChecked(); }));
        EXPECT_TRUE(form.checkButton.isEnabled());
        return form.errorField.stringValue();
    };
    EXPECT_EQ(check("wrong", ""), "Could not log in");
    EXPECT_EQ(storedList().size(), 1) << "saved before the check";
    EXPECT_EQ(check("", ""), "Could not log in");
    EXPECT_EQ(check("secret", "missing/folder"), "Could not create the working directory");
    EXPECT_FALSE(machine->hasBeenChecked());
    EXPECT_EQ(check("secret", ""), "Worked");
    EXPECT_TRUE(machine->hasBeenChecked());
    EXPECT_THAT(cluster.names("TrelkindWorkDirectory"), ElementsAre("CachedExecutables"));
    EXPECT_EQ(storedList().at(0).textFor("Checked Folder"), "TrelkindWorkDirectory");
    std::filesystem::create_directory(cluster / "there");
    EXPECT_EQ(check("secret", "there"), "Worked");
    EXPECT_THAT(cluster.names("there"), IsEmpty()) << "the cache comes only with the work folder";
    EXPECT_EQ(wrapper.messages().size(),
        std::ranges::count(
            wrapper.messages(), "Batches may fail on " + std::string(LoopbackCluster::kName) + "."));

    // The listing begins when the table is first shown, and is made once.
    form.workDirectoryNameField.setStringValue("");
    cluster.write("TrelkindWorkDirectory/.hidden", "");
    EXPECT_EQ(form.directoryContentView.numberOfRows(), 0);
    form.view.setOpen(false);
    form.view.setOpen(true);
    ASSERT_TRUE(served([&] { return form.directoryContentView.numberOfRows() > 0; }));
    const std::string names = cells(form.directoryContentView, {"Directory", "File"});
    for (const char* name : {".hidden||", "CachedExecutables||"})
        EXPECT_THAT(names, HasSubstr(name));
    EXPECT_FALSE(toolkit::cellText(form.directoryContentView.value("Date", 0)).empty());
    EXPECT_EQ(
        toolkit::cellText(machine->objectValueForTableColumn(form.directoryContentView, "Directory", 99)),
        "");
    cluster.write("TrelkindWorkDirectory/later", "");
    form.directoryContentView.reloadData();
    platform::MainLoop::main().runPending();
    EXPECT_EQ(cells(form.directoryContentView, {"Directory", "File"}), names);
}

} // namespace
