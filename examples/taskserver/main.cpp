// A small task server: runs the tasks that Trelkind sends to this machine. docs/task-server.md tells the
// messages to somebody who writes a better one.

#include "examples/taskserver/TaskServer.h"
#include "platform/ProcessInfo.h"
#include "platform/files/FileManager.h"
#include "platform/files/FolderLock.h"
#include "platform/files/Places.h"
#include "platform/process/Process.h"
#include "platform/service/SecretProof.h"
#include "platform/service/TcpService.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <fcntl.h>
#include <fmt/format.h>
#include <iostream>
#include <tuple>
#include <unistd.h>

namespace {

namespace files = platform::files;

constexpr double kSecondsForEnding = 10;

struct Options {
    std::string folder =
        fmt::format("{}/TrelkindServer-{}", platform::Places::varTmp(), platform::loginName());
    std::string listen = "127.0.0.1";
    int port = 0;
    int jobs = platform::processorCount();
    bool withoutSecret = false;
    bool background = false;
    std::string misbehave;
};

int fail(const std::string& sentence)
{
    std::cerr << "trelkind-taskserver: " << sentence << "\n";
    return 1;
}

// Goes on in a process of its own. The first process ends once the other one listens, with its status.
class Background {
public:
    // False in the first process, whose exit status is set.
    bool begin(int& status)
    {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0)
            return true;
        const pid_t child = ::fork();
        if (child != 0) {
            ::close(ends[1]);
            char word = 0;
            status = child > 0 && ::read(ends[0], &word, 1) == 1 ? 0 : 1;
            return false;
        }
        ::close(ends[0]);
        ready_.reset(ends[1]);
        ::setsid();
        return true;
    }
    void listens()
    {
        if (!ready_)
            return;
        const platform::Descriptor nothing(::open("/dev/null", O_RDWR | O_CLOEXEC));
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            ::dup2(nothing.get(), stream);
        std::ignore = platform::writeAll(ready_.get(), "1");
        ready_.reset();
    }

private:
    platform::Descriptor ready_;
};

int serve(const Options& options, const Misbehavior& misbehavior, Background& background)
{
    std::ignore = files::createDirectory(options.folder, files::kOwnersFolder);
    using platform::FolderLock;
    const FolderLock lock(options.folder, FolderLock::Kind::Exclusive, FolderLock::Links::Refused);
    if (lock.isTaken())
        return fail(options.folder + " is in use by another server.");
    if (!lock.isPrivate())
        return fail(options.folder + " can't be made, or others can enter it.");

    TaskServer server(options.folder, options.jobs, misbehavior);
    std::optional<std::string> secret;
    if (!options.withoutSecret)
        secret = platform::SecretProof::makeSecret();
    const auto service = platform::TcpService::offer(options.listen, options.port, secret,
        [&server](auto connection) { server.add(std::move(connection)); });
    if (!service)
        return fail(service.error().text);
    const int port = (*service)->port() + (misbehavior.kind == Misbehavior::Kind::WrongPort ? 1 : 0);
    const std::string portFile = options.folder + "/port";
    std::ignore = files::remove(portFile);
    const auto written = files::writeFileAtomically(
        portFile, fmt::format("{}\n{}", port, secret ? *secret + "\n" : ""), files::kOwnersFile);
    if (!written)
        return fail(written.error().text);

    auto& loop = platform::MainLoop::main();
    const auto interrupt = loop.watchSignal(SIGINT, [&loop] { loop.stop(); });
    const auto end = loop.watchSignal(SIGTERM, [&loop] { loop.stop(); });
    std::cout << "listening on " << options.listen << " port " << (*service)->port() << std::endl;
    background.listens();
    loop.run();
    std::ignore = files::remove(portFile);
    return 0;
}

} // namespace

int main(int count, char** arguments)
{
    Options options;
    CLI::App app(
        "Runs the tasks that Trelkind sends to this machine.\n"
        "Only the proof of the secret is protected. Everything after it travels in the clear: listen\n"
        "on the loopback, and reach it through a tunnel.");
    app.add_option("--folder", options.folder, "Where tasks run and the port is written")
        ->capture_default_str();
    app.add_option("--listen", options.listen, "A numeric address of this machine")->capture_default_str();
    app.add_option("--port", options.port, "The port; 0 takes a free one")->check(CLI::Range(0, 65535));
    app.add_option("--jobs", options.jobs, "How many tasks run at a time")->check(CLI::Range(1, 1024));
    app.add_flag("--without-secret", options.withoutSecret, "Let everybody in who reaches the port");
    app.add_flag("--background", options.background, "Go on in the background once it listens");
    app.add_option("--misbehave", options.misbehave,
        fmt::format("For tests of clients: KIND or KIND@MESSAGE, where KIND is {}", Misbehavior::kKinds));
    CLI11_PARSE(app, count, arguments);
    Misbehavior misbehavior;
    if (!options.misbehave.empty()) {
        auto parsed = Misbehavior::parse(options.misbehave);
        if (!parsed)
            return fail(parsed.error().text);
        misbehavior = std::move(*parsed);
    }
    Background background;
    int status = 0;
    if (options.background && !background.begin(status))
        return status;
    status = serve(options, misbehavior, background);
    platform::Process::finishTerminations(kSecondsForEnding);
    return status;
}
