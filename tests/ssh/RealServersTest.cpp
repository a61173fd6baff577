#include "OnThreads.h"
#include "platform/ProcessInfo.h"
#include "ssh/Support.h"
#include "ssh/crypto/SigningKey.h"
#include "ssh/session/CkoSsh.h"
#include "ssh/session/CkoSshKey.h"
#include "ssh/sftp/CkoSFtp.h"
#include "ssh/transport/Algorithms.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <unistd.h>

using namespace ssh;
using support::readFile;
using support::runCommand;
using support::writeFile;
using testing::HasSubstr;

namespace {

// OpenSSH as an ordinary process, with every kind of user key admitted.
struct OpenSsh : testing::Test {
    static void SetUpTestSuite()
    {
        if (access("/usr/sbin/sshd", X_OK) != 0)
            return;
        for (const char* type : {"ssh-ed25519", "ssh-rsa", "ssh-dss", "ecdsa-sha2-nistp256",
                 "ecdsa-sha2-nistp384", "ecdsa-sha2-nistp521"}) {
            std::string line;
            keys_[type] = support::makeKeyText(type, std::string_view(type) == "ssh-dss", &line);
            authorized_ += line;
        }
        // With new keys after every other megabyte, whoever is sending.
        server_ = support::RealServer::openSsh(authorized_, "RekeyLimit 2M");
    }
    static void TearDownTestSuite() { server_.reset(); }
    void SetUp() override
    {
        if (!server_)
            GTEST_SKIP() << "An OpenSSH server could not be started as an ordinary process here.";
    }

    bool logIn(CkoConnection& connection, const std::string& type = "ssh-ed25519", int port = 0)
    {
        connection.setConnectTimeoutMs(30000);
        connection.setIdleTimeoutMs(30000);
        connection.setKnownHostsFile(folder_ / "known_hosts");
        CkoSshKey key;
        return key.FromOpenSshPrivateKey(keys_[type])
            && connection.Connect("127.0.0.1", port ? port : server_->port())
            && connection.AuthenticatePk(platform::loginName(), key);
    }
    void checkCommands(CkoSsh& ssh)
    {
        int status = 0;
        EXPECT_EQ(runCommand(ssh, "echo out; echo err >&2; exit 3", &status), "out\nerr\n");
        EXPECT_EQ(status, 3);
        // The command has ended when the close has been received, however long it took after ours.
        const int slow = ssh.OpenSessionChannel();
        const std::string mark = folder_ / "mark";
        ASSERT_TRUE(ssh.SendReqExec(slow, "head -c 3000000 /dev/zero; sleep 0.5; touch " + mark));
        EXPECT_TRUE(ssh.ChannelSendClose(slow));
        EXPECT_TRUE(ssh.ChannelReceiveToClose(slow)) << ssh.LastErrorText();
        EXPECT_TRUE(std::filesystem::exists(mark) && ssh.ChannelReceivedClose(slow));
        EXPECT_FALSE(ssh.SendReqExec(slow, "true"));
    }
    inline static std::unique_ptr<support::RealServer> server_;
    inline static std::map<std::string, std::string> keys_;
    inline static std::string authorized_;
    support::TemporaryFolder folder_;
};

TEST_F(OpenSsh, AgreesOnEveryAlgorithmThatItStillKnows)
{
    const AlgorithmOffer all = offerFor({}, "");
    const struct {
        const char* list;
        const std::vector<std::string>& names;
        std::vector<std::string> unknown; // To this server.
        std::size_t shownAt;
    } rows[] = {
        {"KexAlgorithms", all.keyExchange, {std::string(kExtInfoClient), std::string(kStrictClient)}, 0},
        {"HostKeyAlgorithms", all.hostKey, {"ecdsa-sha2-nistp384", "ecdsa-sha2-nistp521"}, 1},
        {"Ciphers", all.cipher,
            {"twofish256-cbc", "twofish128-cbc", "blowfish-cbc", "arcfour128", "arcfour256"}, 2},
        {"MACs", all.mac, {"hmac-ripemd160", "none"}, 3},
    };
    for (const auto& row : rows)
        for (const std::string& name : row.names) {
            SCOPED_TRACE(name);
            if (contains(row.unknown, name))
                continue;
            const auto server = support::RealServer::openSsh(
                authorized_, std::string(row.list) + " " + name + "\nRekeyLimit 300K");
            ASSERT_TRUE(server);
            CkoSsh ssh;
            // From the settled identification, the server hides the group exchange.
            ssh.setClientIdentifier("SSH-2.0-Trelkind");
            ASSERT_TRUE(logIn(ssh, "ssh-ed25519", server->port())) << ssh.LastErrorText();
            EXPECT_EQ(ssh.Algorithms()[row.shownAt], name);
            // Enough for the server to ask for new keys on the way.
            const std::string output = runCommand(ssh, "head -c 1000000 /dev/zero | tr '\\0' x");
            EXPECT_TRUE(output == std::string(1000000, 'x')) << output.size() << " " << ssh.LastErrorText();
            EXPECT_TRUE(ssh.ReKey()) << ssh.LastErrorText();
            EXPECT_EQ(runCommand(ssh, "echo still here"), "still here\n");
        }
}

TEST_F(OpenSsh, RunsCommandsTheWayTheCallersExpect)
{
    for (const auto& [type, text] : keys_) // The server takes DSA keys no more.
        EXPECT_EQ(logIn(*std::make_unique<CkoSsh>(), type), type != "ssh-dss") << type;
    CkoSsh ssh;
    ASSERT_TRUE(logIn(ssh)) << ssh.LastErrorText();
    EXPECT_EQ(ssh.Algorithms()[4], "zlib@openssh.com");
    checkCommands(ssh);

    // A quiet channel gives 0 after its poll time, and stays open; the close shows only when it was read.
    const int channel = ssh.OpenSessionChannel();
    ASSERT_TRUE(ssh.SendReqExec(channel, "sleep 0.7; echo late"));
    EXPECT_EQ(ssh.ChannelReadAndPoll(channel, 100), 0);
    EXPECT_FALSE(ssh.ChannelReceivedClose(channel));
    EXPECT_EQ(ssh.ChannelReadAndPoll(channel, 10000), 5);
    EXPECT_EQ(ssh.GetReceivedDataN(channel, 2), (std::vector<std::uint8_t>{'l', 'a'}));
    EXPECT_EQ(ssh.ChannelReadAndPoll(channel, 0), 3);
    EXPECT_EQ(ssh.GetReceivedDataN(channel, 100).size(), 3u);

    // Silence beyond the idle limit ends a call that waits for an answer.
    ssh.setIdleTimeoutMs(300);
    const int silent = ssh.OpenSessionChannel();
    ASSERT_TRUE(ssh.SendReqExec(silent, "sleep 5"));
    EXPECT_FALSE(ssh.ChannelReceiveToClose(silent));
    EXPECT_THAT(ssh.LastErrorText(), HasSubstr("idle time limit"));
}

// A server that answers isn't silent, however long its command takes.
TEST_F(OpenSsh, KeepAlivesWaitForASilentCommand)
{
    CkoSsh ssh;
    ASSERT_TRUE(logIn(ssh)) << ssh.LastErrorText();
    ssh.setKeepAlive(true);
    ssh.setIdleTimeoutMs(1000);
    const int channel = ssh.OpenSessionChannel();
    ASSERT_TRUE(ssh.SendReqExec(channel, "sleep 3; exit 7"));
    EXPECT_TRUE(ssh.ChannelReceiveToClose(channel)) << ssh.LastErrorText();
    EXPECT_EQ(ssh.GetChannelExitStatus(channel), 7);
}

TEST_F(OpenSsh, CarriesManyFilesTogether)
{
    CkoSFtp sftp;
    ASSERT_TRUE(logIn(sftp) && sftp.InitializeSftp()) << sftp.LastErrorText();
    const std::string base = folder_ / "remote";
    EXPECT_THAT(sftp.CreateDirs({base, base + "/a", base + "/a/b", base + "/none/c", base}),
        testing::ElementsAre(true, true, true, false, true));
    constexpr std::size_t kFiles = 700; // More than may be open at the same time.
    std::vector<std::string> texts;
    std::vector<CkoUpload> uploads;
    std::vector<CkoDownload> downloads;
    std::vector<std::string> paths;
    for (std::size_t i = 0; i < kFiles; ++i)
        texts.push_back(support::randomText(i % 100 == 99 ? 300'000 + i : i));
    for (std::size_t i = 0; i < kFiles; ++i) {
        paths.push_back(base + "/a/b/" + std::to_string(i));
        uploads.push_back({paths.back(), {}, viewOf(texts[i]), 0600});
        downloads.push_back({paths.back(), folder_ / std::to_string(i), i % 2 == 0,
            i % 3 == 0 ? -1 : static_cast<std::int64_t>(texts[i].size())});
        if (i % 4 == 0) // Half of it is here already.
            support::writeFile(folder_ / std::to_string(i), texts[i].substr(0, i / 2));
    }
    for (const CkoTransfer& transfer : sftp.UploadFiles(uploads))
        EXPECT_TRUE(transfer.ok()) << transfer.error;
    EXPECT_EQ(sftp.GetFilePermissions(paths[5], false, false), 0600);
    const auto sizes = sftp.OpenedFileSizes(paths);
    const auto got = sftp.DownloadFiles(downloads);
    for (std::size_t i = 0; i < kFiles; ++i) {
        EXPECT_EQ(sizes[i], static_cast<std::int64_t>(texts[i].size()));
        EXPECT_TRUE(got[i].ok() && support::readFile(downloads[i].localPath) == texts[i]) << got[i].error;
    }
    const auto listings = sftp.ReadDirs({base + "/a/b", base + "/none", paths[0]});
    ASSERT_TRUE(listings[0] && !listings[1] && !listings[2]) << sftp.LastErrorText();
    EXPECT_EQ(listings[0]->NumFilesAndDirs(), static_cast<int>(kFiles));
}

TEST_F(OpenSsh, CarriesAVeryLargeFileOverAsManyChannelsAsTheServerAllows)
{
    const std::string content = support::randomText(20'000'003);
    const auto single = support::RealServer::openSsh(authorized_, "MaxSessions 1");
    for (const auto* server : {server_.get(), single.get()}) {
        ASSERT_TRUE(server);
        CkoSFtp sftp;
        ASSERT_TRUE(logIn(sftp, "ssh-ed25519", server->port()) && sftp.InitializeSftp())
            << sftp.LastErrorText();
        const std::string path = folder_ / "file";
        for (int round = 0; round < 2; ++round) { // Over what the first has opened, and what it has written.
            const auto text = std::string_view(content).substr(static_cast<std::size_t>(round));
            const auto sent = sftp.UploadFiles({{path, {}, viewOf(text), 0640}});
            EXPECT_TRUE(sent[0].ok()) << sent[0].error;
            EXPECT_TRUE(readFile(path) == text);
        }
        EXPECT_EQ(sftp.GetFilePermissions(path, false, false), 0640);
    }
}

void checkFiles(CkoSFtp& sftp, const support::TemporaryFolder& folder)
{
    ASSERT_TRUE(sftp.InitializeSftp()) << sftp.LastErrorText();
    EXPECT_EQ(sftp.ProtocolVersion(), 3);
    const std::string base = folder / "remote";
    EXPECT_FALSE(sftp.OpenDir(base) || sftp.CreateDir(base + "/a"));
    EXPECT_TRUE(sftp.CreateDir(base) && !sftp.CreateDir(base)) << sftp.LastErrorText();
    EXPECT_TRUE(sftp.GetFileCreateTime(base, false, false));
    EXPECT_FALSE(sftp.GetFileCreateTime(base + "/none", false, false));
    EXPECT_FALSE(sftp.OpenFile(base + "/none", "readOnly", "openExisting"));

    const std::string content = support::randomText(20'000'003);
    writeFile(folder / "local", content);
    ASSERT_TRUE(sftp.UploadFileByName(base + "/file", folder / "local")) << sftp.LastErrorText();
    EXPECT_TRUE(readFile(base + "/file") == content);
    ASSERT_TRUE(sftp.DownloadFileByName(base + "/file", folder / "copy")) << sftp.LastErrorText();
    EXPECT_TRUE(readFile(folder / "copy") == content);
    writeFile(folder / "copy", content.substr(0, 7'000'001));
    writeFile(base + "/file", content.substr(0, 123));
    EXPECT_TRUE(sftp.ResumeUploadFileByName(base + "/file", folder / "local")) << sftp.LastErrorText();
    EXPECT_TRUE(sftp.ResumeDownloadFileByName(base + "/file", folder / "copy")) << sftp.LastErrorText();
    EXPECT_TRUE(readFile(folder / "copy") == content);
    EXPECT_TRUE(sftp.DownloadFileByName("/proc/self/status", folder / "made-up")); // Its size is told as 0.
    EXPECT_THAT(readFile(folder / "made-up"), HasSubstr("Name:"));

    EXPECT_TRUE(sftp.SetPermissions(base + "/file", false, 0751));
    EXPECT_EQ(sftp.GetFilePermissions(base + "/file", false, false), 0751);
    std::filesystem::create_symlink(base + "/file", base + "/link");
    EXPECT_EQ(sftp.GetFileSize64(base + "/link", true, false), static_cast<std::int64_t>(content.size()));
    EXPECT_LT(sftp.GetFileSize64(base + "/link", false, false), 1000);
    const double modified = platform::files::attributes(base + "/file")->modified;
    EXPECT_EQ(sftp.GetFileLastModified(base + "/file", false, false),
        CkoDate(std::chrono::seconds(static_cast<std::int64_t>(modified))));

    for (int i = 0; i < 300; ++i)
        writeFile(base + "/n" + std::to_string(i), "");
    const auto handle = sftp.OpenDir(base);
    const auto listing = sftp.ReadDir(handle);
    ASSERT_TRUE(listing) << sftp.LastErrorText();
    EXPECT_EQ(listing->NumFilesAndDirs(), 302);
    EXPECT_TRUE(sftp.CloseHandle(*handle));

    const auto existing = sftp.OpenFile(base + "/file", "writeOnly", "createTruncate");
    EXPECT_TRUE(existing);
    EXPECT_EQ(std::filesystem::file_size(base + "/file"), 0u);
    writeFile(folder / "kept", "content");
    EXPECT_FALSE(sftp.DownloadFileByName(base, folder / "kept"));
    EXPECT_THAT(sftp.LastErrorText(), HasSubstr("It is a directory."));
    EXPECT_EQ(readFile(folder / "kept"), "content");
    EXPECT_FALSE(sftp.UploadFileByName(base + "/none/file", folder / "local"));
    EXPECT_TRUE(sftp.CloseHandle(*existing));
}

TEST_F(OpenSsh, CarriesFilesWithAndWithoutCompression)
{
    for (const bool compression : {false, true}) {
        const support::TemporaryFolder folder;
        CkoSFtp sftp;
        sftp.setCompression(compression);
        ASSERT_TRUE(logIn(sftp)) << sftp.LastErrorText();
        checkFiles(sftp, folder);
    }
}

// Each on a thread of its own: nobody's connection waits for another's.
TEST_F(OpenSsh, ServesManyThreadsAtOnce)
{
    std::atomic<int> good = 0;
    const auto start = std::chrono::steady_clock::now();
    onThreads(6, [&](int i) {
        CkoSsh ssh;
        good +=
            logIn(ssh) && runCommand(ssh, "sleep 1; echo " + std::to_string(i)) == std::to_string(i) + "\n";
    });
    EXPECT_EQ(good, 6);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(5500));
}

// The tool, between files in place of a terminal.
TEST_F(OpenSsh, TheToolHandsOverInputAndShowsNothingThatATerminalWouldObey)
{
    writeFile(folder_ / "key", keys_["ssh-ed25519"]);
    const auto tool = [&](const std::string& input, const std::string& verb, const std::string& arguments) {
        const std::string words = " --key " + (folder_ / "key") + " --known-hosts "
            + (folder_ / "known_hosts") + " --port " + std::to_string(server_->port()) + " " + verb
            + " 127.0.0.1 " + platform::loginName() + " " + arguments;
        return support::run({"sh", "-c",
            input + " | timeout 20 " SSHTOOL + words + " >" + (folder_ / "out") + " 2>" + (folder_ / "err")});
    };
    const auto output = [&](const char* name = "out") { return readFile(folder_ / name); };
    EXPECT_EQ(tool("true", "exec", "cat"), 0);
    EXPECT_EQ(output(), "");
    EXPECT_THAT(
        output("err"), HasSubstr("127.0.0.1 is met for the first time; its key is now trusted: SHA256:"));
    EXPECT_EQ(tool("echo in", "exec", "'cat; exit 3'"), 3);
    EXPECT_EQ(output() + output("err"), "in\n");
    EXPECT_EQ(tool("head -c 5000000 /dev/zero", "exec", "cat"), 0);
    EXPECT_TRUE(output() == std::string(5000000, '\0')) << output().size();
    EXPECT_EQ(tool("(sleep 30 &)", "exec", "true"), 0); // The input's end isn't waited for.
    std::filesystem::create_directory(folder_ / "listed");
    writeFile(folder_ / "listed/e\033[1mx\ny", "");
    EXPECT_EQ(tool("true", "ls", folder_ / "listed"), 0);
    EXPECT_THAT(output(), testing::EndsWith(" e?[1mx?y\n"));
    EXPECT_EQ(tool("true", "ls", folder_ / "none"), 1);
    EXPECT_THAT(output("err"), HasSubstr("no such file"));
    EXPECT_EQ(tool("true", "get", ""), 2);
}

// The keys of a real agent, whose secrets this process never sees.
class Agent {
public:
    explicit Agent(const std::string& folder) : folder_(folder)
    {
        support::run({"sh", "-c", "ssh-agent -s -a " + socket() + " > " + folder_ + "/agent-env"});
    }
    ~Agent() { support::run({"sh", "-c", ". " + folder_ + "/agent-env && ssh-agent -k"}); }
    std::string socket() const { return folder_ + "/agent"; }
    void add(const std::string& keyText) const
    {
        const std::string path = folder_ + "/added";
        support::writeFile(path, keyText);
        std::filesystem::permissions(path, std::filesystem::perms(0600));
        EXPECT_EQ(support::run({"sh", "-c", ". " + folder_ + "/agent-env && ssh-add " + path}), 0);
    }

private:
    const std::string folder_;
};

TEST_F(OpenSsh, TakesTheKeysOfAnAgent)
{
    EXPECT_THAT(CkoSshKey::KeysOfAgent(folder_ / "none").error().text, HasSubstr("could not be connected"));
    EXPECT_FALSE(CkoSshKey::KeysOfAgent("").ok());
    std::optional<Agent> agent(std::in_place, folder_.path());
    EXPECT_TRUE(CkoSshKey::KeysOfAgent(agent->socket())->empty());
    const std::vector<std::string> types = {"ssh-ed25519", "ssh-rsa", "ecdsa-sha2-nistp384"};
    for (const std::string& type : types)
        agent->add(keys_[type]);
    const auto keys = CkoSshKey::KeysOfAgent(agent->socket());
    ASSERT_TRUE(keys.ok()) << keys.error().text;
    ASSERT_EQ(keys->size(), types.size());
    for (std::size_t i = 0; i < types.size(); ++i) {
        CkoSsh ssh;
        ssh.setKnownHostsFile(folder_ / "known_hosts");
        ASSERT_TRUE(ssh.Connect("127.0.0.1", server_->port())) << ssh.LastErrorText();
        EXPECT_TRUE(ssh.AuthenticatePk(platform::loginName(), (*keys)[i])) << ssh.LastErrorText();
        EXPECT_EQ((*keys)[i].key()->type(), types[i]);
    }
    agent.reset();
    CkoSsh ssh;
    ssh.setKnownHostsFile(folder_ / "known_hosts");
    ASSERT_TRUE(ssh.Connect("127.0.0.1", server_->port())) << ssh.LastErrorText();
    EXPECT_FALSE(ssh.AuthenticatePk(platform::loginName(), keys->front()));
    EXPECT_THAT(ssh.LastErrorText(), HasSubstr("could not be connected"));
}

TEST_F(OpenSsh, TakesPasswords)
{
    if (!server_->ownAccount())
        GTEST_SKIP() << "Without the right to mount there is no account with a known password.";
    // Without PAM, the server has no keyboard-interactive login of its own.
    CkoSsh ssh;
    ssh.setKnownHostsFile(folder_ / "known_hosts");
    ASSERT_TRUE(ssh.Connect("127.0.0.1", server_->port())) << ssh.LastErrorText();
    EXPECT_FALSE(ssh.AuthenticatePw(platform::loginName(), "wrong"));
    EXPECT_FALSE(ssh.AuthenticatePw(platform::loginName(), ""));
    EXPECT_TRUE(ssh.AuthenticatePw(platform::loginName(), support::RealServer::kPassword))
        << ssh.LastErrorText();
    EXPECT_EQ(runCommand(ssh, "echo in"), "in\n");
}

TEST_F(OpenSsh, TakesAKeyAndThenAPassword)
{
    const auto server = support::RealServer::openSsh(authorized_, "AuthenticationMethods publickey,password");
    if (!server || !server->ownAccount())
        GTEST_SKIP() << "Without the right to mount there is no account with a known password.";
    CkoSignIn with;
    for (const char* type : {"ssh-dss", "ssh-ed25519"}) { // The server takes DSA keys no more.
        with.keys.emplace_back();
        ASSERT_TRUE(with.keys.back().FromOpenSshPrivateKey(keys_[type]));
    }
    for (const char* password : {"", "wrong", support::RealServer::kPassword}) {
        with.password = password;
        CkoSsh ssh;
        ssh.setKnownHostsFile(folder_ / "known_hosts");
        ASSERT_TRUE(ssh.Connect("127.0.0.1", server->port())) << ssh.LastErrorText();
        const bool in = ssh.SignIn(platform::loginName(), with);
        EXPECT_EQ(in, with.password == support::RealServer::kPassword) << ssh.LastErrorText();
        EXPECT_EQ(ssh.Refusal().unanswered.size(), with.password.empty() ? 1u : 0u);
        EXPECT_EQ(ssh.Refusal().passwordRefused, with.password == "wrong");
    }
}

TEST_F(OpenSsh, IsReachedThroughAnotherServer)
{
    const auto jump = [this] {
        auto ssh = std::make_unique<CkoSsh>();
        EXPECT_TRUE(logIn(*ssh)) << ssh->LastErrorText();
        return ssh;
    };
    const auto through = [&](CkoConnection& connection, int port) {
        connection.setKnownHostsFile(folder_ / "known_hosts");
        CkoSshKey key;
        return key.FromOpenSshPrivateKey(keys_["ssh-ed25519"])
            && connection.ConnectThrough(jump(), "127.0.0.1", port)
            && connection.AuthenticatePk(platform::loginName(), key);
    };
    CkoSFtp sftp;
    ASSERT_TRUE(through(sftp, server_->port())) << sftp.LastErrorText();
    checkFiles(sftp, folder_);
    CkoSsh ssh;
    ASSERT_TRUE(through(ssh, server_->port())) << ssh.LastErrorText();
    const std::string output = support::runCommand(ssh, "head -c 3000000 /dev/zero | tr '\\0' x");
    EXPECT_TRUE(output == std::string(3000000, 'x')) << output.size() << ssh.LastErrorText();
    EXPECT_TRUE(through(ssh, server_->port())); // Anew, which ends the one before.
    EXPECT_EQ(support::runCommand(ssh, "echo in"), "in\n");

    int closedPort = 0;
    support::listenOnLoopback(closedPort).reset();
    EXPECT_FALSE(through(ssh, closedPort));
    EXPECT_THAT(ssh.LastErrorText(), HasSubstr("doesn't open a channel"));
    EXPECT_FALSE(ssh.ConnectThrough(std::make_unique<CkoSsh>(), "127.0.0.1", server_->port()));
    EXPECT_THAT(ssh.LastErrorText(), HasSubstr("logged in"));
}

TEST_F(OpenSsh, ADropbearServerDoesTheSame)
{
    const auto server = support::RealServer::dropbear(authorized_);
    if (!server || !server->ownAccount())
        GTEST_SKIP()
            << "Dropbear looks for keys in the login's home folder, and without the right to mount there "
               "is none of the test's own.";
    CkoSsh ssh;
    ASSERT_TRUE(logIn(ssh, "ssh-rsa", server->port())) << ssh.LastErrorText();
    EXPECT_TRUE(ssh.ReKey()) << ssh.LastErrorText();
    checkCommands(ssh);
    CkoSFtp sftp;
    sftp.setKnownHostsFile(folder_ / "known_hosts");
    ASSERT_TRUE(sftp.Connect("127.0.0.1", server->port())) << sftp.LastErrorText();
    EXPECT_FALSE(sftp.AuthenticatePw(platform::loginName(), "wrong"));
    ASSERT_TRUE(sftp.AuthenticatePw(platform::loginName(), support::RealServer::kPassword))
        << sftp.LastErrorText();
    checkFiles(sftp, folder_);
}

} // namespace
