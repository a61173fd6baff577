#include "ssh/Support.h"

#include "platform/ProcessInfo.h"
#include "platform/process/Spawn.h"
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <pwd.h>
#include <random>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace support {

std::string readFile(const std::string& path)
{
    return platform::files::readFile(path).value_or("");
}

void writeFile(const std::string& path, const std::string& content)
{
    EXPECT_TRUE(platform::files::writeFile(path, content));
}

std::string randomText(std::size_t size)
{
    std::mt19937_64 source(4711);
    std::string text(size, '\0');
    for (char& c : text)
        c = static_cast<char>(source());
    return text;
}

namespace {

int spawn(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), "/usr/bin/env"); // Finds the program.
    return platform::spawn(arguments, "", "test").value_or(-1);
}

int freePort()
{
    int port = 0;
    listenOnLoopback(port);
    return port;
}

bool listens(int port)
{
    const platform::Descriptor socket(::socket(AF_INET, SOCK_STREAM, 0));
    const sockaddr_in address = loopback(port);
    return connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

} // namespace

int run(const std::vector<std::string>& arguments)
{
    const int pid = spawn(arguments);
    int status = -1;
    return pid > 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string makeKeyText(const std::string& type, bool pem, std::string* publicLine)
{
    const TemporaryFolder folder;
    const std::string path = folder / "key";
    std::string kind = type.substr(type.find('-') + 1); // "dss", "rsa", "ed25519", "sha2-nistp256"
    std::vector<std::string> words = {"ssh-keygen", "-q", "-N", "", "-C", "test", "-f", path, "-t"};
    if (type.starts_with("ecdsa-"))
        words.insert(words.end(), {"ecdsa", "-b", kind.substr(kind.size() - 3)});
    else
        words.push_back(kind == "dss" ? "dsa" : kind);
    if (pem)
        words.insert(words.end(), {"-m", "PEM"});
    run(words);
    if (publicLine)
        *publicLine = readFile(path + ".pub");
    return readFile(path);
}

std::string runCommand(ssh::CkoSsh& ssh, const std::string& command, int* status)
{
    const int channel = ssh.OpenSessionChannel();
    if (channel < 0 || !ssh.SendReqExec(channel, command))
        return ssh.LastErrorText();
    std::string output;
    for (bool closed = false; !closed;) {
        closed = ssh.ChannelReceivedClose(channel);
        const int waiting = ssh.ChannelReadAndPoll(channel, 2000);
        if (waiting < 0)
            return ssh.LastErrorText();
        const auto data = ssh.GetReceivedDataN(channel, waiting);
        output.append(data.begin(), data.end());
    }
    if (status)
        *status = ssh.GetChannelExitStatus(channel);
    return output;
}

std::unique_ptr<RealServer> RealServer::openSsh(
    const std::string& authorizedKeys, const std::string& extraConfiguration, const std::string& pam)
{
    auto server = std::make_unique<RealServer>();
    const TemporaryFolder& folder = server->folder_;
    server->port_ = freePort();
    writeFile(folder / "authorized", authorizedKeys);
    std::string configuration =
        "ListenAddress 127.0.0.1\nStrictModes no\nPidFile none\n"
        "PermitRootLogin yes\nMaxStartups 100\nSubsystem sftp /usr/lib/openssh/sftp-server\n";
    configuration += "Port " + std::to_string(server->port_) + "\n";
    configuration += "AuthorizedKeysFile " + (folder / "authorized") + "\n" + extraConfiguration
        + "\nUsePAM no\n"; // The first of a key counts.
    static std::map<std::string, std::string> hostKeys; // Made once: some take a second.
    for (const char* type : {"ssh-rsa", "ssh-dss", "ssh-ed25519", "ecdsa-sha2-nistp256"}) {
        const std::string path = folder / type;
        if (hostKeys[type].empty())
            hostKeys[type] = makeKeyText(type);
        writeFile(path, hostKeys[type]);
        std::filesystem::permissions(path, std::filesystem::perms(0600));
        configuration += "HostKey " + path + "\n";
    }
    writeFile(folder / "config", configuration);
    if (getuid() == 0) // Where the server's unprivileged half lives, which a service would have made.
        std::filesystem::create_directories("/run/sshd");
    return server->start({"/usr/sbin/sshd", "-D", "-f", folder / "config"}, authorizedKeys, pam)
        ? std::move(server)
        : nullptr;
}

std::unique_ptr<RealServer> RealServer::dropbear(const std::string& authorizedKeys)
{
    auto server = std::make_unique<RealServer>();
    const TemporaryFolder& folder = server->folder_;
    server->port_ = freePort();
    const std::string key = folder / "key";
    if (run({"dropbearkey", "-t", "rsa", "-s", "2048", "-f", key}) != 0)
        return nullptr;
    const bool started =
        server->start({"dropbear", "-F", "-E", "-p", "127.0.0.1:" + std::to_string(server->port_), "-r", key},
            authorizedKeys);
    return started ? std::move(server) : nullptr;
}

bool RealServer::start(
    std::vector<std::string> arguments, const std::string& authorizedKeys, const std::string& pam)
{
    const passwd* entry = getpwuid(getuid());
    const std::string account = entry ? entry->pw_dir : "";
    if (getuid() == 0 && run({"unshare", "-m", "mount", "--bind", folder_.path(), account}) == 0) {
        ownAccount_ = true;
        const std::string home = folder_ / "home";
        std::filesystem::create_directories(home + "/.ssh");
        writeFile(home + "/.ssh/authorized_keys", authorizedKeys);
        std::filesystem::permissions(home, std::filesystem::perms(0700));
        std::filesystem::permissions(home + "/.ssh/authorized_keys", std::filesystem::perms(0600));
        // "secret", hashed by crypt(3).
        writeFile(folder_ / "shadow",
            platform::loginName()
                + ":$6$trelkind$wLSsT3pkSq/SYIWbGtBvlG6YtvszTy2AHth/"
                  "D3Z4XpocKIDlF8JJG8H9PjBwJCZv1Gb.z9QqHs4vEhkPYO/"
                  "9S0:19000:0:99999:7:::\nsshd:!:19000::::::\n");
        if (!pam.empty())
            writeFile(folder_ / "pam", pam);
        const std::vector<std::string> wrapper = {"unshare", "-m", "sh", "-c",
            "mount --bind \"$1\" \"$2\" && mount --bind \"$3\" /etc/shadow && mount --bind /bin/bash /bin/sh "
            "&& { [ -z \"$4\" ] || mount --bind \"$4\" /etc/pam.d/sshd; } && shift 4 && exec \"$@\"",
            "sh", home, account, folder_ / "shadow", pam.empty() ? "" : folder_ / "pam"};
        arguments.insert(arguments.begin(), wrapper.begin(), wrapper.end());
    }
    pid_ = spawn(arguments);
    for (int i = 0; i < 500 && pid_ > 0; ++i) {
        if (listens(port_))
            return true;
        if (waitpid(pid_, nullptr, WNOHANG) == pid_)
            pid_ = -1;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

void RealServer::endConnections() const
{
    std::ifstream children("/proc/" + std::to_string(pid_) + "/task/" + std::to_string(pid_) + "/children");
    for (int child = 0; children >> child;)
        ::kill(child, SIGKILL);
}

RealServer::~RealServer()
{
    if (pid_ > 0) {
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
    }
}

} // namespace support
