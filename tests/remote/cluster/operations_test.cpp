// The background operations, each over a real server: what they leave there, and what they answer.

#include "remote/cluster/LoopbackCluster.h"
#include "remote/cluster/RemoteFileChecks.h"
#include "remote/cluster/RemoteFolderCommands.h"
#include "remote/cluster/SVCopyUsingSCPFromLocal.h"
#include "remote/cluster/SVSCPCopyFromFolders.h"
#include "remote/cluster/SVSSHCommand.h"

#include <gmock/gmock.h>

#include <sys/stat.h>
#include <thread>

namespace {

using platform::Value;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class Operations : public testing::Test {
protected:
    void SetUp() override
    {
        if (!cluster.works())
            GTEST_SKIP() << "A server with an account of its own needs to be root.";
    }
    static int modeOf(const std::string& path)
    {
        struct stat found { };
        return ::stat(path.c_str(), &found) == 0 ? static_cast<int>(found.st_mode & 07777) : -1;
    }
    // Carries out a list; "done" or "failed", and the words of the error.
    std::string upload(const Value::Array& list)
    {
        const auto operation = std::make_shared<SVCopyUsingSCPFromLocal>([&list] { return list; },
            cluster.login(), [this](double growth) { progress += growth; },
            [this](SVCopyUsingSCPFromLocal&) { ++callbacks; });
        progress = callbacks = 0;
        operation->main();
        platform::MainLoop::main().runPending();
        EXPECT_EQ(callbacks, 1);
        EXPECT_DOUBLE_EQ(progress, 100);
        return (operation->success() ? "done" : "failed") + (": " + operation->error().value_or(""));
    }
    // One look at the folders; the reports, each in brackets.
    std::string look(const std::vector<std::string>& folders)
    {
        std::string reports;
        lastPass = std::make_shared<SVSCPCopyFromFolders>(cluster.login(), folders, "batch", wrapper.path(),
            std::set<std::string>{"job"},
            SVSCPCopyFromFolders::Callback{[&](const std::string& folder) { reports += "(" + folder + ")"; },
                [&](const std::string& folder, auto newFiles, auto updated) {
                    std::sort(newFiles.begin(), newFiles.end());
                    reports += "[" + folder;
                    for (const std::string& name : newFiles)
                        reports += " " + name;
                    for (const std::string& path : updated)
                        reports += " +" + path.substr(wrapper.path().size() + 1);
                    reports += "]";
                },
                [&](SVSCPCopyFromFolders&) { reports += "."; }});
        std::thread worker([this] { lastPass->main(); }); // As in a queue: the reports come before the end.
        EXPECT_TRUE(served([&] { return reports.ends_with('.'); }));
        worker.join();
        return reports;
    }

    WrapperOnDisk wrapper;
    LoopbackCluster cluster;
    double progress = 0;
    int callbacks = 0;
    std::shared_ptr<SVSCPCopyFromFolders> lastPass;
};

TEST_F(Operations, CarryOutActionListsToTheirEnd)
{
    namespace action = clusteraction;
    wrapper.write("here", "local content");
    const std::string here = wrapper / "here";
    const auto with = [](Value entry, const char* key, Value value) {
        entry.mutableDictionary()[key] = std::move(value);
        return entry;
    };
    EXPECT_EQ(upload({}), "done: ");
    EXPECT_EQ(
        upload({action::createDirectory("a/b/c"), action::createDirectory("a/b/c"),
            action::copyFromLocal(here, "a/b/c/there"), action::createFromData("longer", "a/data", 0640),
            action::createFromData("data", "a/data")}),
        "done: ");
    EXPECT_EQ(cluster.read("a/b/c/there"), "local content");
    EXPECT_EQ(cluster.read("a/data"), "data");
    EXPECT_EQ(modeOf(cluster / "a/data"), 0640);

    // The permissions go to "File Name" alone, whatever the action; "chmod" means nothing.
    cluster.write("other", "");
    EXPECT_EQ(upload({with(action::copyFromLocal(here, "kept"), "Access", 0700),
                  with(with(action::createDirectory("folder"), "Access", 0711), "File Name", "other"),
                  with(action::createFromData("x", "script"), "chmod", "x")}),
        "done: ");
    EXPECT_NE(modeOf(cluster / "kept"), 0700);
    EXPECT_EQ(modeOf(cluster / "other"), 0711);
    EXPECT_EQ(modeOf(cluster / "script") & 0111, 0);

    // Unknown actions keep the last outcome; entries without an action are skipped.
    EXPECT_EQ(upload({Value::Dictionary{{"Action", "Dance"}}, Value::Dictionary{}, "text"}), "done: ");

    // A failed file doesn't stop the list and leaves no words.
    EXPECT_EQ(upload({action::copyFromLocal(wrapper / "missing", "a/missing"),
                  action::createFromData("x", "no/such/folder"), action::createFromData("last", "a/last")}),
        "failed: ");
    EXPECT_EQ(cluster.read("a/last"), "last");
    EXPECT_THAT(wrapper.messages(), ElementsAre("Could not upload a file."));

    // A folder that can't be made stops it.
    struct Case {
        std::string folder;
        const char* words;
    };
    for (const Case& one : {Case{std::string(300, 'x'), "Directory could not be created."},
             Case{"new/" + std::string(300, 'x'), "Directory could not be created."},
             Case{"script/below", "Did not find the home directory."},
             Case{"/proc/none/below", "Did not find the home directory."}}) {
        EXPECT_EQ(upload({action::createDirectory(one.folder), action::createFromData("x", "never")}),
            std::string("failed: ") + one.words);
        EXPECT_FALSE(cluster.has("never"));
    }
    EXPECT_TRUE(cluster.has("new")) << "the walk makes what it can";
}

TEST_F(Operations, BringWhatIsNewAndWhatHasGrown)
{
    const std::string started = "VTask_runStarted";
    const std::string completed = "VTask_runCompleted";
    for (const char* folder : {"0", "1", "2"})
        wrapper.write(folder + std::string("/.kept"));
    // Not begun: nothing is brought or reported, whatever the folder holds; nor of a missing one.
    cluster.write("batch/0/runOutput", "early");
    EXPECT_EQ(look({"0", "7"}), ".");
    EXPECT_FALSE(lastPass->error());

    cluster.write("batch/0/" + started, "");
    for (const char* name : {"job", ".hidden", "new name.txt", "sub/inner"})
        cluster.write(std::string("batch/0/") + name, name);
    EXPECT_EQ(look({"0"}), "(0)[0 VTask_runStarted new name.txt runOutput].");
    EXPECT_EQ(lastPass->bytesCopiedOver(), 17);
    for (const char* name : {"job", ".hidden", "sub"})
        EXPECT_FALSE(wrapper.has(std::string("0/") + name)) << name;

    // The exclusion spares existing files. Shorter and changed files are not looked at; an updated file
    // stands in all later reports of the pass.
    wrapper.write("0/job", "j");
    cluster.write("batch/0/runOutput", "early and late");
    cluster.write("batch/0/new name.txt", "CHANGED-.txt");
    cluster.write("batch/1/" + started, "");
    cluster.write("batch/1/a", "a");
    cluster.write("batch/2/" + started, "");
    wrapper.write("2/" + started, "");
    wrapper.write("2/shrunk", "longer here");
    cluster.write("batch/2/shrunk", "short");
    EXPECT_EQ(look({"0", "1", "2"}),
        "(0)[0 +0/job +0/runOutput](1)[1 VTask_runStarted a +0/job +0/runOutput]"
        "(2)[2 +0/job +0/runOutput].");
    EXPECT_EQ(lastPass->bytesCopiedOver(), 2 + 9 + 1);
    EXPECT_EQ(wrapper.read("0/job"), "job");
    EXPECT_EQ(wrapper.read("0/runOutput"), "early and late");
    EXPECT_EQ(wrapper.read("0/new name.txt"), "new name.txt");
    EXPECT_EQ(wrapper.read("2/shrunk"), "longer here");

    // The mark of the end comes only with all else: here a folder stands in the way of a file.
    cluster.write("batch/1/" + completed, "machine");
    cluster.write("batch/1/results", "r");
    wrapper.write("1/results.partial/x", "");
    ASSERT_EQ(::symlink("nowhere/at/all", (wrapper / "1/results").c_str()), 0);
    EXPECT_EQ(look({"1"}), "(1)[1].");
    EXPECT_FALSE(wrapper.has("1/" + completed));
    EXPECT_THAT(lastPass->complaints(), ElementsAre(HasSubstr("batch/1/results")));
    wrapper.remove("1/results");
    EXPECT_EQ(look({"1"}), "(1)[1 VTask_runCompleted results].");
    EXPECT_EQ(wrapper.read("1/results"), "r");
}

// A run, or somebody at the cluster, may leave anything in a run folder.
TEST_F(Operations, TakeNothingFromAHostileListing)
{
    wrapper.write("0/.kept");
    cluster.write("batch/0/VTask_runStarted", "");
    cluster.write("batch/0/good", "good");
    cluster.write("secret", "elsewhere");
    const std::string folder = cluster / "batch/0/";
    ASSERT_EQ(::symlink("/dev/zero", (folder + "zero").c_str()), 0);
    ASSERT_EQ(::symlink("../..", (folder + "up").c_str()), 0);
    ASSERT_EQ(::symlink("good", (folder + "link").c_str()), 0);
    ASSERT_EQ(::symlink("gone", (folder + "broken").c_str()), 0);
    ASSERT_EQ(::mkfifo((folder + "pipe").c_str(), 0600), 0);
    cluster.write("batch/0/bad\xff name", "");
    cluster.write("batch/0/back\\slash\nline", "odd");
    EXPECT_EQ(look({"0"}), "(0)[0 VTask_runStarted back\\slash\nline good link].");
    EXPECT_EQ(wrapper.read("0/link"), "good");
    EXPECT_THAT(lastPass->complaints(), ElementsAre(HasSubstr("no UTF-8")));
    EXPECT_THAT(platform::files::contentsOfDirectory(wrapper / "0").value_or({}),
        UnorderedElementsAre(".kept", "VTask_runStarted", "back\\slash\nline", "good", "link"));
    // None of it holds up the end of the run, but a folder isn't its mark.
    std::filesystem::create_directory(folder + "VTask_runCompleted");
    EXPECT_EQ(look({"0"}), "(0)[0].");
    std::filesystem::remove(folder + "VTask_runCompleted");
    cluster.write("batch/0/VTask_runCompleted", "machine");
    EXPECT_EQ(look({"0"}), "(0)[0 VTask_runCompleted].");
    // A local folder under the name of a remote file stays.
    cluster.write("batch/0/taken", std::string(100'000, 'x'));
    wrapper.write("0/taken/inner", "mine");
    look({"0"});
    EXPECT_EQ(wrapper.read("0/taken/inner"), "mine");
}

TEST_F(Operations, LookAfterFoldersAndTheCache)
{
    const auto folderCheck = [this](const std::string& folder) {
        std::optional<std::string> words = "no callback";
        const auto operation = std::make_shared<SVCheckIfWorkFolderExists>(
            cluster.login(), folder, [&](SVCheckIfWorkFolderExists& done) { words = done.error(); });
        operation->main();
        EXPECT_EQ(words, "no callback") << "the only operation that doesn't wait";
        platform::MainLoop::main().runPending();
        return words.value_or("");
    };
    EXPECT_EQ(folderCheck("missing/batch"), "Could not create the folder");
    cluster.write("work/kept", "");
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(folderCheck("work/batch"), "");
        EXPECT_THAT(cluster.names("work/batch"), ElementsAre("Executable", "Finished", "Started"));
    }

    const auto cached = [this](const std::string& md5) {
        const auto operation =
            std::make_shared<SVCheckIfExecutableExist>(cluster.login(), "p", md5, "work/batch", nullptr);
        operation->main();
        return operation->error().value_or(operation->executableExists() ? "yes" : "no");
    };
    const std::string md5(32, 'a');
    EXPECT_EQ(cached(md5), "no");
    const std::string cache = "TrelkindWorkDirectory/CachedExecutables/p"; // Whatever the work folder.
    cluster.write(cache, "program");
    cluster.write(cache + ".md5", std::string(31, 'a') + "b\n");
    EXPECT_EQ(cached(md5), "no");
    cluster.write(cache + ".md5", std::string(31, 'a'));
    EXPECT_EQ(cached(md5), "no");
    cluster.write(cache + ".md5", md5 + "\n");
    EXPECT_EQ(cached(md5), "yes");
    EXPECT_EQ(cluster.read("work/batch/Executable/p"), "program");
    cluster.write(cache + ".md5", "");
    EXPECT_EQ(cached(""), "no") << "no local program, no cached one";

    SVSCPCheckIfFilesExist files({"kept", "none", "batch"}, cluster.login(), "work", nullptr, "mine");
    files.main();
    EXPECT_THAT(files.exist(), ElementsAre("kept", "batch"));
    EXPECT_THAT(files.dontExist(), ElementsAre("none"));
    EXPECT_EQ(files.argument() + " " + files.workDirectory(), "mine work");

    for (const bool isThere : {true, false}) {
        SVRemoveFolderOperation removal(cluster.login(), "work/batch", nullptr, nullptr);
        removal.main();
        EXPECT_FALSE(removal.error());
        EXPECT_EQ(removal.hasFailed(), !isThere);
        EXPECT_THAT(cluster.names("work"), ElementsAre("kept"));
    }
}

TEST_F(Operations, RunCommandsAndHandOutWhatTheyPrint)
{
    const auto command = [this](const std::string& line, int status) {
        std::vector<std::string> shown;
        int callbacksSeen = 0;
        SVSSHCommand operation(
            line, cluster.login(), [&](const std::string& text) { shown.push_back(text); },
            [&](SVSSHCommand&) { ++callbacksSeen; },
            [](const std::string& reason) { ADD_FAILURE() << reason; });
        operation.main();
        platform::MainLoop::main().runPending();
        EXPECT_EQ(callbacksSeen, 1);
        EXPECT_EQ(operation.exitStatus(), status) << line;
        EXPECT_EQ(shown.empty() ? "" : shown.back(), operation.printed());
        return operation.printed();
    };
    cluster.write("only here", "");
    EXPECT_THAT(command("ls; exit 3", 3), HasSubstr("only here\n")) << "in the login's home";
    EXPECT_EQ(command("echo out; echo err >&2", 0).size(), 8) << "both streams";
    EXPECT_EQ(command("true", 0), "");
    // A character that comes in two pieces, and bytes that are no text.
    EXPECT_EQ(command(R"(printf '\303'; sleep 1; printf '\244|\377|')", 0), "\u00e4|\ufffd|");
    // A compiler may print without end: the view keeps the last of it.
    const std::string much = command("head -c 20000000 /dev/zero | tr '\\0' 'x' | fold -w 100; echo end", 0);
    EXPECT_LT(much.size(), 3 << 20);
    EXPECT_THAT(much, HasSubstr(" bytes are left out here.)\nxxx"));
    EXPECT_TRUE(much.ends_with("x\nend\n") || much.ends_with("xend\n"));
    const std::string oneLine =
        command("head -c 9000001 /dev/zero | sed 's/\\x0/\\xc3\\xa4/g'; printf ' end'", 0);
    EXPECT_LT(oneLine.size(), 3 << 20);
    EXPECT_THAT(oneLine, HasSubstr(" bytes are left out here.)\n\u00e4\u00e4"));
    EXPECT_TRUE(oneLine.ends_with("\u00e4 end"));
}

// Logins and connections that fail: the words, and which operations call back.
TEST_F(Operations, TellWhyTheyCouldNotBegin)
{
    const std::string user = platform::loginName();
    LoopbackCluster closed("MaxSessions 0"); // Takes over the name.
    struct Case {
        const char* host;
        std::optional<std::string> password;
        std::string files; // The error of operations that work on files.
        std::string command; // Of those that send a command.
    };
    for (const Case& one : {Case{"cluster.test", "secret", "Initialization failed", "Could not open channel"},
             Case{"cluster.test", "wrong", "Could not connect as user " + user, ""},
             Case{"cluster.test", "", "Could not connect as user " + user, ""},
             Case{"cluster.test", std::nullopt, "Could not read the private key", ""},
             Case{"127.0.0.254", "secret", "Could not connect to 127.0.0.254", ""}}) {
        SCOPED_TRACE(one.files);
        const auto login = SVSSHPasswordInfo::createWithHost(one.host, user, one.password,
            std::string(one.host) == "127.0.0.254" ? MachineAccess{std::nullopt, 1, std::nullopt, false}
                                                   : MachineAccess{});
        int called = 0;
        const auto count = [&called](auto&) { ++called; };
        const auto fails = [&](ClusterOperation& operation) {
            operation.main();
            platform::MainLoop::main().runPending();
            return operation.error().value_or("");
        };
        SVCopyUsingSCPFromLocal copy([] { return Value::Array(); }, login, nullptr, count);
        EXPECT_EQ(fails(copy), one.files);
        EXPECT_FALSE(copy.success());
        SVSCPCheckIfFilesExist files({"a"}, login, "", count, "");
        EXPECT_EQ(fails(files), one.files);
        SVSCPCheckIfFileExist file(login, "a", count);
        EXPECT_EQ(fails(file), one.files);
        EXPECT_FALSE(file.exists());
        const auto folder = std::make_shared<SVCheckIfWorkFolderExists>(login, "a", count);
        EXPECT_EQ(fails(*folder), one.files);
        SVCheckIfExecutableExist executable(login, "p", "", "w", count);
        EXPECT_EQ(fails(executable), one.files);
        SVSCPCopyFromFolders pass(login, {"0"}, "w", wrapper.path(), {}, {{}, {}, count});
        EXPECT_EQ(fails(pass), one.files);
        EXPECT_EQ(called, 6);
        // These two end without their callback when they can't log in.
        int failures = 0;
        const auto failed = [&failures](const std::string& reason) { failures += !reason.empty(); };
        SVRemoveFolderOperation removal(login, "a", count, failed);
        EXPECT_EQ(fails(removal), one.command.empty() ? one.files : one.command);
        SVSSHCommand command("true", login, nullptr, count, failed);
        fails(command);
        EXPECT_EQ(called, one.command.empty() ? 6 : 7);
        EXPECT_EQ(failures, one.command.empty() ? 2 : 1);
    }
}

} // namespace
