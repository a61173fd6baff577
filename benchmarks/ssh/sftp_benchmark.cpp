// Our client beside the OpenSSH programs, on the same server, with the same cipher, MAC and compression, in
// the same run. Both start as a process of their own and log in with the same key.

#include "ssh/Relay.h"

#include "platform/ProcessInfo.h"
#include "ssh/Support.h"
#include "ssh/session/CkoSsh.h"
#include "ssh/session/CkoSshKey.h"
#include "ssh/sftp/CkoSFtp.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <sys/resource.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

struct Run {
    double seconds = 0;
    long peakKilobytes = 0;
    bool good = false;
};

struct Setting {
    support::TemporaryFolder folder;
    std::string key;
    std::unique_ptr<support::RealServer> server;
    std::unique_ptr<Relay> far;
    int repeats = 3;
    std::string only; // Measures only what has this in its name.
};

Run measure(const std::function<bool()>& work)
{
    std::fflush(stdout);
    const auto start = Clock::now();
    const pid_t pid = fork();
    if (pid == 0)
        _exit(work() ? 0 : 1);
    int status = -1;
    rusage usage{};
    wait4(pid, &status, 0, &usage);
    return {std::chrono::duration<double>(Clock::now() - start).count(), usage.ru_maxrss,
        WIFEXITED(status) && WEXITSTATUS(status) == 0};
}

bool execute(std::vector<std::string> words)
{
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    if (!std::freopen("/dev/null", "w", stdout) || !std::freopen("/dev/null", "w", stderr))
        return false;
    execvp(pointers[0], pointers.data());
    return false;
}

std::vector<std::string> theirOptions(
    const Setting& setting, const std::string& program, int port, bool compression)
{
    return {program, "-F", "none", program == "sftp" ? "-P" : "-p", std::to_string(port), "-i",
        setting.folder / "key", "-o", "Ciphers=aes256-ctr", "-o", "MACs=hmac-sha2-256", "-o",
        std::string("Compression=") + (compression ? "yes" : "no"), "-o",
        "UserKnownHostsFile=" + (setting.folder / "theirs"), "-o", "StrictHostKeyChecking=no", "-o",
        "IdentityAgent=none"};
}

Run theirFiles(const Setting& setting, int port, bool compression, const std::string& commands)
{
    support::writeFile(setting.folder / "batch", commands);
    return measure([&] {
        auto words = theirOptions(setting, "sftp", port, compression);
        words.insert(
            words.end(), {"-q", "-b", setting.folder / "batch", platform::loginName() + "@127.0.0.1"});
        return execute(words);
    });
}

bool logIn(ssh::CkoConnection& connection, const Setting& setting, int port, bool compression)
{
    connection.setKnownHostsFile(setting.folder / "ours");
    connection.setCompression(compression);
    ssh::CkoSshKey key;
    return key.FromOpenSshPrivateKey(setting.key) && connection.Connect("127.0.0.1", port)
        && connection.AuthenticatePk(platform::loginName(), key);
}

Run ourFiles(
    const Setting& setting, int port, bool compression, const std::function<bool(ssh::CkoSFtp&)>& work)
{
    return measure([&] {
        ssh::CkoSFtp sftp;
        const bool good = logIn(sftp, setting, port, compression) && sftp.InitializeSftp() && work(sftp);
        if (!good)
            std::fprintf(stderr, "ours: %s\n", sftp.LastErrorText().c_str());
        return good;
    });
}

// With `isFar`, the round trips of the last run of each side as well.
void report(const Setting& setting, const char* what, double megabytes, bool isFar,
    const std::function<Run()>& ours, const std::function<Run()>& theirs)
{
    if (std::string_view(what).find(setting.only) == std::string_view::npos)
        return;
    Run best[2];
    double worst[2] = {};
    int roundTrips[2] = {};
    for (int i = 0; i < setting.repeats; ++i)
        for (int side = 0; side < 2; ++side) { // In turn, so that both meet the same neighbours.
            const Run run = side == 0 ? ours() : theirs();
            if (!run.good) {
                std::printf("%-34s %s failed\n", what, side == 0 ? "ours" : "OpenSSH");
                return;
            }
            roundTrips[side] = isFar ? setting.far->roundTrips() : 0;
            worst[side] = std::max(worst[side], run.seconds);
            if (i == 0 || run.seconds < best[side].seconds)
                best[side] = {run.seconds, std::max(run.peakKilobytes, best[side].peakKilobytes), true};
        }
    std::printf("%-34s %8.3f s (to %.3f)  %8.3f s (to %.3f)  %5.2f", what, best[0].seconds, worst[0],
        best[1].seconds, worst[1], best[1].seconds / best[0].seconds);
    if (megabytes > 0)
        std::printf("  %6.0f MB/s", megabytes / best[0].seconds);
    std::printf("  %5.1f MB", static_cast<double>(best[0].peakKilobytes) / 1024);
    if (isFar)
        std::printf("  %d and %d round trips", roundTrips[0], roundTrips[1]);
    std::printf("\n");
    std::fflush(stdout);
}

void benchmarkFiles(
    const Setting& setting, int port, const char* line, std::size_t megabytes, bool compression)
{
    const std::string source = setting.folder / "source";
    const std::string target = setting.folder / "target";
    std::filesystem::resize_file(source, megabytes * 1024 * 1024);
    const auto name = [&](const char* what) {
        return std::string(what) + " " + std::to_string(megabytes) + " MB, " + line
            + (compression ? ", zlib" : "");
    };
    const double size = static_cast<double>(megabytes) * 1.048576;
    report(
        setting, name("download").c_str(), size, false,
        [&] {
            return ourFiles(setting, port, compression,
                [&](ssh::CkoSFtp& sftp) { return sftp.DownloadFileByName(source, target); });
        },
        [&] { return theirFiles(setting, port, compression, "get " + source + " " + target + "\n"); });
    report(
        setting, name("upload").c_str(), size, false,
        [&] {
            return ourFiles(setting, port, compression,
                [&](ssh::CkoSFtp& sftp) { return sftp.UploadFileByName(target, source); });
        },
        [&] { return theirFiles(setting, port, compression, "put " + source + " " + target + "\n"); });
}

void benchmarkChannels(const Setting& setting, int port, std::size_t megabytes)
{
    const std::string source = setting.folder / "source";
    const std::string target = setting.folder / "target";
    std::filesystem::resize_file(source, megabytes * 1024 * 1024);
    const std::string what = "over channels " + std::to_string(megabytes) + " MB, 50 ms";
    report(
        setting, what.c_str(), static_cast<double>(megabytes) * 1.048576, false,
        [&] {
            return ourFiles(setting, port, false, [&](ssh::CkoSFtp& sftp) {
                return sftp.UploadFiles({{target, source, {}, {}}})[0].ok();
            });
        },
        [&] { return theirFiles(setting, port, false, "put " + source + " " + target + "\n"); });
}

void benchmarkSmallFiles(const Setting& setting, int port)
{
    constexpr int kFiles = 200;
    std::string commands;
    std::filesystem::create_directory(setting.folder / "small");
    for (int i = 0; i < kFiles; ++i) {
        const std::string name = setting.folder / ("small/" + std::to_string(i));
        support::writeFile(name, support::randomText(4096));
        commands += "get " + name + " " + name + ".copy\n";
    }
    report(
        setting, "200 files of 4 kB, 50 ms", 0, true,
        [&] {
            return ourFiles(setting, port, false, [&](ssh::CkoSFtp& sftp) {
                bool good = true;
                for (int i = 0; i < kFiles; ++i) {
                    const std::string name = setting.folder / ("small/" + std::to_string(i));
                    good = good && sftp.DownloadFileByName(name, name + ".copy");
                }
                return good;
            });
        },
        [&] { return theirFiles(setting, port, false, commands); });
}

void benchmarkCommand(const Setting& setting, int port, bool isFar, const char* what)
{
    report(
        setting, what, 0, isFar,
        [&] {
            return measure([&] {
                ssh::CkoSsh ssh;
                if (!logIn(ssh, setting, port, false))
                    return false;
                const int channel = ssh.OpenSessionChannel();
                return channel >= 0 && ssh.SendReqExec(channel, "true") && ssh.ChannelReceiveToClose(channel);
            });
        },
        [&] {
            return measure([&] {
                auto words = theirOptions(setting, "ssh", port, false);
                words.insert(words.end(), {platform::loginName() + "@127.0.0.1", "true"});
                return execute(words);
            });
        });
}

} // namespace

int main(int argc, char** argv)
{
    const std::size_t large = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 1024;
    const std::size_t medium = std::max<std::size_t>(large / 4, 1);
    Setting setting;
    setting.only = argc > 2 ? argv[2] : "";
    std::string publicLine;
    setting.key = support::makeKeyText("ssh-ed25519", false, &publicLine);
    support::writeFile(setting.folder / "key", setting.key);
    std::filesystem::permissions(setting.folder / "key", std::filesystem::perms(0600));
    setting.server = support::RealServer::openSsh(publicLine);
    if (!setting.server) {
        std::fprintf(stderr, "No OpenSSH server could be started.\n");
        return 1;
    }
    utsname system{};
    uname(&system);
    std::printf("%s %s, %u processors; aes256-ctr, hmac-sha2-256; best of %d in turn (slowest)\n",
        system.sysname, system.machine, std::thread::hardware_concurrency(), setting.repeats);
    std::printf("%-34s %-22s %-22s ratio\n", "", "ours", "OpenSSH");

    // Bytes that don't compress; the compressed rows use as many that do.
    support::writeFile(setting.folder / "source", support::randomText(large * 1024 * 1024));
    const int direct = setting.server->port();
    benchmarkFiles(setting, direct, "direct", large, false);
    benchmarkFiles(setting, direct, "direct", medium, true);
    setting.far = std::make_unique<Relay>(direct, std::chrono::milliseconds(25));
    const int far = setting.far->port();
    benchmarkFiles(setting, far, "50 ms", medium, false);
    benchmarkChannels(setting, far, medium);
    benchmarkSmallFiles(setting, far);
    benchmarkCommand(setting, far, true, "connect, login, command, 50 ms");
    benchmarkCommand(setting, direct, false, "connect, login, command, direct");
    return 0;
}
