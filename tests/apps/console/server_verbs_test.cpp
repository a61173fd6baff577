// A batch through a task server, as its user meets it: real processes, and scp within this machine.

#include "remote/server/ServedBatch.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <sys/wait.h>

namespace {

using testing::HasSubstr;
using testing::Not;

class ServerVerbs : public testing::Test {
protected:
    struct Said {
        int status;
        std::string out;
        std::string err;
    };
    // A line of bash in which T is the program, W the wrapper and M the machine.
    Said shell(const std::string& line) const
    {
        batch.tell("line",
            fmt::format("cd '{0}'\nW='{1}' M={2}@127.0.0.1 R='{3}'\nexport TRELKIND_PLACES='{0}/places' "
                        "LC_ALL=C.UTF-8\nT() {{ timeout 60 \"$R\" \"$@\"; }}\n"
                        "upto() {{ for i in $(seq 600); do \"$@\" && return; sleep 0.05; done; }}\n{4}\n",
                batch.folder(), batch.wrapper.path(), batch.user(), TRELKIND, line));
        const int status =
            std::system(fmt::format("cd '{}' && bash line > out 2> err < /dev/null", batch.folder()).c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, batch.told("out"), batch.told("err")};
    }
    void expect(
        const std::string& line, int status, const std::string& out, const std::string& err = {}) const
    {
        const Said said = shell(line);
        SCOPED_TRACE(line + "\n" + said.out + said.err);
        EXPECT_EQ(said.status, status);
        EXPECT_THAT(said.out, HasSubstr(out));
        EXPECT_THAT(said.err,
            err.empty() ? testing::Matcher<std::string>(testing::IsEmpty())
                        : testing::Matcher<std::string>(HasSubstr(err)));
    }

    ServedBatch batch;
    const std::string run = "T run \"$W\" --server $M ";
};

TEST_F(ServerVerbs, RunABatchAndShowTheOutputOfATask)
{
    batch.startServer({"--jobs", "1"});
    batch.program("cat input; echo; echo second; if [ -e fails ]; then exit 3; fi");
    batch.wrapper.tasks({"", "", ""});
    batch.wrapper.write("2/fails");
    expect(run + "1-2 --watch 2 | grep '^2 |'", 0, "2 | x\n2 | second\n");
    expect("T status \"$W\"", 0, "2 of 3 done");
    expect(run + "-q", 1, "", "Failed: 3.\n");
    expect(run, 0, "3 of 3 done");
    EXPECT_THAT(batch.wrapper.read("1/runOutput"), "x\nsecond\n");
    EXPECT_FALSE(platform::files::exists(batch.serverFolder() + "/1"));
    // By a server that dies, and again by one that doesn't.
    batch.clean();
    batch.wrapper.tasks({"", ""});
    batch.stopServer();
    batch.startServer({"--misbehave", "die@addedTask:"});
    expect(run, 1, "Server", "Not done: 1-2. \"trelkind run ");
    batch.stopServer();
    batch.startServer({"--without-secret"});
    expect(run, 1, "", "The task server was refused.");
    const Said said = shell(run + "--allow-server-without-secret --json");
    EXPECT_EQ(said.status, 0) << said.err;
    EXPECT_EQ(nlohmann::json::parse(said.out).at(1)["State"], "done");
}

// On a terminal the program waits for its user, who starts another server.
TEST_F(ServerVerbs, ConnectAgainAtTheUsersWish)
{
    batch.startServer({"--misbehave", "die@addedTask:"});
    batch.program("echo a");
    batch.wrapper.tasks({"", ""});
    const std::string file = batch.serverFolder();
    const Said said = shell("user() { upto grep -q 'Press r to connect again' term\n\"" TASKSERVER
                            "\" --folder "
        + file + " > /dev/null & echo $! > pid\nupto [ " + file + "/port -nt term.old ]; printf r\n"
        + "upto eval '[ -e $W/0/VTask_runCompleted ] && [ -e $W/1/VTask_runCompleted ]'; }\ntouch term.old\n"
          "script -qfec \"'$R' run '$W' --server $M\" term > /dev/null < <(user); echo status $?\n"
          "kill $(cat pid)");
    EXPECT_THAT(said.out, HasSubstr("status 0")) << batch.told("term");
    EXPECT_TRUE(batch.wrapper.has("1/runOutput"));
}

TEST_F(ServerVerbs, RefuseWhatCannotWork)
{
    batch.program("echo a");
    batch.wrapper.tasks({"", "-x"});
    expect("T run \"$W\" --server host", 2, "", "does not name a machine");
    expect("T run \"$W\" --server 'a b@host'", 2, "", "\"a b\" can't be the user");
    expect("T run \"$W\" --server 'u@-h'", 2, "", "\"-h\" can't be the host");
    expect("T run \"$W\" --server u@h:q", 2, "", "has no queues");
    expect(run + "--on $M", 2, "", "excludes");
    expect("T run \"$W\" --watch 1", 2, "", "--server");
    expect("T run \"$W\" --without-arguments", 2, "", "--on or --server");
    expect(run + "7", 2, "", "7");
    expect(run + "--watch 3", 1, "", "There is no task 3 to watch.");
    expect(run, 1, "", "with --without-arguments.");
    expect(run + "--without-arguments", 1, "0 of 2 done", "Could not get port number on remote machine");
    batch.wrapper.remove("program");
    expect(run + "1", 1, "", "cp ");
}

TEST_F(ServerVerbs, EndTheTasksOfAnInterruptedBatch)
{
    batch.startServer({"--jobs", "1"});
    batch.program("echo begun; touch here; sleep 1000");
    batch.wrapper.tasks({"", ""});
    const std::string begin = "\"$R\" run \"$W\" --server $M > first.out 2> first.err & pid=$!\n";
    const std::string end = "wait $pid; echo first $?; cat first.err\n";
    const std::string began = "upto eval 'ls " + batch.serverFolder() + "/*/*/0/here 2> /dev/null'\n";
    const Said said = shell(begin + began + run + "; echo second $?\nkill -TERM $pid\n" + end);
    EXPECT_THAT(said.out, HasSubstr("second 1"));
    EXPECT_THAT(said.err, HasSubstr("by another trelkind."));
    EXPECT_THAT(said.out, HasSubstr("first 130"));
    EXPECT_THAT(said.out, HasSubstr("Ending the tasks"));
    EXPECT_THAT(said.out, HasSubstr("Not done: 1-2."));
    EXPECT_FALSE(batch.wrapper.has("0/here"));
    // While a copy hangs, at once.
    batch.tell("scp.mode", "hang port");
    const Said left = shell(begin + "upto grep -qs hangs scp.state\nkill -TERM $pid\n" + end);
    EXPECT_THAT(left.out, HasSubstr("first 130"));
    EXPECT_THAT(left.out, Not(HasSubstr("Could not get")));
}

} // namespace
