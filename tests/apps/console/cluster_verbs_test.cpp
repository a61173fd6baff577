// Machines and batches on a cluster as their user meets them: real processes, a real server, a small
// scheduler.

#include "apps/console/OnTerminal.h"
#include "remote/cluster/LoopbackCluster.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <sys/wait.h>

namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class ClusterVerbs : public testing::Test {
protected:
    struct Said {
        int status;
        std::string out;
        std::string err;
    };
    // A line of bash, its exit status, and a part of what it prints. An empty part: nothing is printed.
    struct Call {
        std::string line;
        int status;
        std::string out = {};
        std::string err = {};
    };

    void SetUp() override
    {
        if (!cluster.works())
            GTEST_SKIP() << "A server with an account of its own needs to be root.";
        wrapper.executable("local", "solver").tasks({"", ""});
        wrapper.information("Project Name", makeProject(wrapper.folder() / "project", R"(
#include <cstdio>
int main() { std::puts("ran"); }
)"));
    }
    // In the line, T is the program, W the wrapper, M the machine; "upto" waits until a command succeeds.
    Said shell(const std::string& line) const
    {
        const std::string folder = wrapper.folder().path();
        support::writeFile(folder + "/line",
            fmt::format("cd '{0}'\nW='{1}' M={2} P={3} H='{4}' R='{5}'\nexport TRELKIND_PLACES='{0}/places' "
                        "LC_ALL=C.UTF-8\n"
                        "T() {{ timeout 60 \"$R\" \"$@\"; }}\n"
                        "upto() {{ for i in $(seq 600); do \"$@\" && return; sleep 0.05; done; }}\n{6}\n",
                folder, wrapper.path(), machine, cluster.port(), cluster.home(), TRELKIND, line));
        const int status =
            std::system(fmt::format("cd '{}' && bash line > out 2> err < /dev/null", folder).c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, support::readFile(folder + "/out"),
            support::readFile(folder + "/err")};
    }
    void expect(const std::vector<Call>& calls) const
    {
        for (const Call& call : calls) {
            const Said said = shell(call.line);
            SCOPED_TRACE(call.line + "\n" + said.out + said.err);
            EXPECT_EQ(said.status, call.status);
            for (const auto& [text, part] : {std::pair(said.out, call.out), std::pair(said.err, call.err)})
                EXPECT_TRUE(part.empty() ? text.empty() : text.find(part) != text.npos) << part;
        }
    }
    void addMachine() const
    {
        expect({{"T machines add $M --port $P", 0, "Added "},
            {"T machines password $M --password-fd 0 <<< secret", 0, "Kept the password"},
            {"T machines check $M --accept-new-host-key", 0, "Worked\n"}});
    }

    WrapperOnDisk wrapper{"My Batch.vtask"};
    LoopbackCluster cluster;
    const std::string machine = platform::loginName() + "@127.0.0.1";
};

TEST_F(ClusterVerbs, KeepTheListOfMachines)
{
    expect({{"T machines", 0, "There are no machines."}, {"T machines --json", 0, "[]\n"},
        {"T machines add nobody", 2, "", "\"nobody\" does not name a machine: write USER@HOST."},
        {"T machines add $M --port 0", 2, "", "--port"},
        {"T machines add $M --port $P --queue 'a, b,a'", 0, "jobs go to the scheduler's own default"},
        {"T machines add $M", 1, "", "is in the list already."},
        {"T machines", 0, machine + "  queues: a, b\n"},
        {"T machines check u@elsewhere", 1, "", "\"trelkind machines add u@elsewhere\" adds it."},
        {"T machines password $M --password-fd 0", 1, "", "No password was given."},
        {"T machines check $M", 1, "Could not connect\n", "Use --accept-new-host-key to skip"},
        {"T machines check $M --accept-new-host-key", 1, "Could not log in\n"},
        {"T machines password $M --password-fd 0 <<< secret", 0, "Kept the password of"},
        {"T machines files $M", 0}, {"T machines check $M", 0, "Worked\n"},
        {"T machines files $M", 0, "  CachedExecutables\n"},
        {"T machines check $M --work-folder no/folder", 1, "Could not create the working directory\n"},
        {"T machines files $M --work-folder TrelkindWorkDirectory/CachedExecutables", 0}});
    EXPECT_EQ(json::parse(shell("T machines --json").out),
        (json{{{"Machine", machine}, {"User Name", platform::loginName()}, {"Machine Name", "127.0.0.1"},
            {"Queue", "a, b,a"}, {"Type", "LSF"}}}));
    const json files = json::parse(shell("T machines files $M --json").out);
    EXPECT_EQ(files.at(0)["Directory"].get<std::string>().empty(), false);
    EXPECT_GT(files.at(0)["Date"].get<double>(), 1e9);
    expect({{"T machines remove $M", 1, "", "Use --yes"}, {"T machines", 0, "queues"},
        {"T machines remove $M --yes", 0, "Removed "}, {"T machines remove $M --yes", 1, "", "There is no"},
        {"T machines", 0, "There are no machines."}});
}

TEST_F(ClusterVerbs, RunABatchFromItsWrapper)
{
    const std::string run = "T run \"$W\" ";
    expect({{run + "--on $M", 1, "", "There is no machine"}, {run + "--on nobody", 1, "", "write USER@HOST"},
        {"T machines add $M --port $P", 0, "Added "}, {run + "--on $M --minutes 0", 2, "", "more than 0"},
        {run + "--on $M", 1, "", "met for the first time. The fingerprint of its key is SHA256:"},
        {run + "--on $M --accept-new-host-key", 1, "", machine + ": Could not log in"}});
    EXPECT_FALSE(wrapper.has("Remote Machine.plist"));
    expect({{"T machines password $M --password-fd 0 <<< secret", 0, "Kept"}});
    // The first use of a machine checks it. Arguments would be lost.
    wrapper.tasks({"", "-x"});
    expect({{run + "--on $M", 1, "Batch", "don't reach their runs"},
        {run + "--on $M:short --without-arguments --minutes 0.002", 0, "Input tasks uploaded"},
        {"T status \"$W\"", 0, "2 of 2 done"}, {"T output \"$W\" 2", 0, "ran\n"},
        {"T check \"$W\"", 1, "", "has no batch on a cluster."}});
    EXPECT_THAT(cluster.names("TrelkindWorkDirectory"), ElementsAre("CachedExecutables"));

    // In two calls, with machine-readable tables.
    wrapper.tasks({"", ""});
    for (const char* left : {"0", "1"})
        std::filesystem::remove_all(wrapper / left);
    wrapper.tasks({"", ""});
    cluster.write("scheduler/hold", "");
    expect({{run + "--on $M --detach --json", 0, "\"Number\": \"1\"", "The jobs are submitted."}});
    EXPECT_EQ(json::parse(shell("T check \"$W\" --json").out).size(), 2);
    expect({{"T check \"$W\"", 0, "0 of 2 done"}});
    std::filesystem::remove(cluster / "scheduler/hold");
    const Said ended =
        shell("upto eval '[ $(ls $H/TrelkindWorkDirectory/*/Finished | wc -l) = 2 ]'; " + run + "--json");
    EXPECT_EQ(ended.status, 0) << ended.err;
    EXPECT_EQ(json::parse(ended.out).at(1)["State"], "done");
    EXPECT_THAT(ended.err, IsEmpty());
}

TEST_F(ClusterVerbs, TellWhatKeepsABatchFromGoingOn)
{
    addMachine();
    support::writeFile(wrapper.folder() / "project/main.cpp", "int main( // broken\n");
    const std::string run = "T run \"$W\" ";
    const Said failed = shell(run + "--on $M");
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.err, HasSubstr("Compilation failed.\n"));
    EXPECT_THAT(failed.err, HasSubstr("main.cpp:1")) << "what the compiler says";
    expect({{"T check \"$W\"", 1, "", "is not submitted yet. \"trelkind run '"},
        {run + "--on other@host", 1, "", "has a batch on 127.0.0.1."},
        {"T machines remove $M --yes", 0, "Removed"}});
    // Bound to a machine that isn't known: nothing is touched.
    const std::string stored = wrapper.read("Remote Machine.plist");
    expect({{run, 1, "", "which is not in the list of machines. \"trelkind machines add USER@127.0.0.1\""}});
    EXPECT_EQ(wrapper.read("Remote Machine.plist"), stored);
    addMachine();
    cluster.write("scheduler/hold", "");
    auto folders = cluster.names("TrelkindWorkDirectory");
    std::erase(folders, "CachedExecutables");
    ASSERT_EQ(folders.size(), 1U);
    const std::string folder = "TrelkindWorkDirectory/" + folders.front();
    cluster.write(folder + "/Sources/main.cpp", "#include <cstdio>\nint main() { std::puts(\"ran\"); }\n");
    // It goes on with what is there. A second program is told, and an interrupt leaves the batch.
    const Said interrupted = shell("(exec \"$R\" run \"$W\" > first.out 2> first.err) & pid=$!\n"
                                   "upto grep -q 'Runs have Started' \"$W/Remote Machine.plist\"\n"
                                   "T run \"$W\"; echo second $?\nT end \"$W\" --yes; echo end $?\n"
                                   "kill -INT $pid; wait $pid; echo first $?; cat first.err");
    EXPECT_THAT(interrupted.out, HasSubstr("second 1"));
    EXPECT_THAT(interrupted.out, HasSubstr("end 1"));
    EXPECT_THAT(interrupted.out, HasSubstr("first 130"));
    EXPECT_THAT(interrupted.out, HasSubstr("The batch stays on the cluster. \"trelkind run '"));
    EXPECT_THAT(interrupted.err, HasSubstr("by another trelkind."));
    std::filesystem::remove(cluster / "scheduler/hold");
    expect({{run + "--minutes 0.002", 0, "task 2: Done"}, {"T status \"$W\"", 0, "2 of 2 done"}});
}

// The password has changed: the batch waits, says so, and goes on once a person has given the new one.
TEST_F(ClusterVerbs, AskOnTheTerminalWhatASignInNeeds)
{
    addMachine();
    expect({{"T machines password $M --password-fd 0 <<< outdated", 0, "Kept"}});
    support::OnTerminal program(wrapper, {"run", wrapper.path(), "--on", machine, "--minutes", "0.002"});
    const std::string hint = "Press r to sign in and try again.";
    const std::string question = "Password of " + machine + ": ";
    ASSERT_TRUE(program.reads(hint)) << program.text();
    EXPECT_THAT(program.text(), HasSubstr("Could not connect as user " + platform::loginName()));
    ASSERT_TRUE(program.reads("waits for a sign-in")) << program.text();
    for (const std::string answer : {"\n", "wrong\n", "secret\n"}) {
        program.type("r");
        ASSERT_TRUE(program.readsAgain(question)) << program.text();
        program.type(answer);
        const bool isRight = answer == "secret\n"; // Without an answer nothing is tried.
        ASSERT_TRUE(isRight || program.readsAgain("waits for a sign-in")) << program.text();
    }
    EXPECT_EQ(program.finish(), 0) << program.text();
    EXPECT_EQ(program.text().find("secret"), std::string::npos) << "what is typed isn't shown";
    EXPECT_EQ(wrapper.read("1/runOutput"), "ran\n");
}

TEST_F(ClusterVerbs, EndABatch)
{
    addMachine();
    cluster.write("scheduler/hold", "");
    const auto begin = [this] {
        expect(
            {{"T run \"$W\" --on $M --detach -q --accept-new-host-key", 0, "", "The jobs are submitted."}});
        for (const std::string& name : cluster.names("TrelkindWorkDirectory"))
            if (name != "CachedExecutables" && !cluster.has("TrelkindWorkDirectory/" + name + "/Seen"))
                return "TrelkindWorkDirectory/" + name;
        return std::string();
    };
    const std::string first = begin();
    cluster.write(first + "/Seen", "");
    expect({{"T end \"$W\"", 1, "", first + " stays on the cluster, and its jobs go on there. Use --yes"},
        {"T end \"$W\" --yes", 0, first + " stays on the cluster, and its jobs go on there.\n"},
        {"T end \"$W\" --yes", 1, "", "has no batch on a cluster."}});
    EXPECT_TRUE(cluster.has(first + "/SubmitTasks"));
    EXPECT_FALSE(wrapper.has("Remote Machine.plist"));

    const std::string second = begin();
    ASSERT_NE(second, "");
    expect({{"T end \"$W\" --cancel-jobs --yes", 1, "", "The jobs could not be cancelled."}});
    EXPECT_TRUE(wrapper.has("Remote Machine.plist"));
    cluster.addProgram("squeue",
        fmt::format("echo \"7|RUNNING|None|$HOME/{0}/0\"; echo \"8|PENDING|x|$HOME/{0}/1\"\n"
                    "echo \"9|RUNNING|None|$HOME/{1}/0\"",
            second, first));
    cluster.addProgram("scancel", "echo $* > ~/cancelled");
    cluster.addProgram("rm", "exit 1");
    expect({{"T end \"$W\" --remove --yes", 1, "", "could not be removed; some of it may be left."}});
    EXPECT_TRUE(wrapper.has("Remote Machine.plist"));
    cluster.addProgram("rm", "exec /bin/rm \"$@\"");
    expect(
        {{"T end \"$W\" --cancel-jobs --remove", 1, "", "all that is not fetched from it will be removed."},
            {"T end \"$W\" --cancel-jobs --remove --yes", 0, "Removed " + machine + ":" + second}});
    EXPECT_EQ(cluster.read("cancelled"), "7 8\n") << "the jobs of this batch alone";
    EXPECT_FALSE(cluster.has(second));
    EXPECT_TRUE(cluster.has(first));

    // An edited file names what would be removed.
    wrapper.plist("Remote Machine.plist",
        platform::Value::Dictionary{
            {"Host", "127.0.0.1"}, {"User Name", platform::loginName()}, {"UUID", "../" + first}});
    expect({{"T end \"$W\" --remove --yes", 1, "", "is not the name of a batch"}});
    EXPECT_TRUE(cluster.has(first));
}

} // namespace
