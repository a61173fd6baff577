#include "platform/process/Process.h"

#include "platform/ProcessInfo.h"
#include "platform/files/Descriptor.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "platform/process/ProcessWarden.h"
#include "platform/process/Spawn.h"
#include "platform/process/SystemShell.h"

#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <optional>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace platform {

namespace {

// The kernel reads no more of a script's first line.
constexpr std::size_t kFirstLineLimit = 256;

struct FirstLine {
    std::string interpreter;
    std::string argument; // All that follows, as one; empty when there is nothing.
};

// The interpreter behind "#!" in the first line. Nothing when the file is no script.
std::optional<FirstLine> readFirstLine(const std::string& path)
{
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    char buffer[kFirstLineLimit];
    const ssize_t count =
        retryInterrupted([&] { return file ? ::read(file.get(), buffer, sizeof buffer) : ssize_t{0}; });
    std::string_view line(buffer, count > 0 ? static_cast<std::size_t>(count) : 0);
    if (!line.starts_with("#!"))
        return std::nullopt;
    line = line.substr(2, line.find('\n') - 2);
    const auto trim = [&] {
        constexpr std::string_view kBlanks = " \t";
        const std::size_t first = line.find_first_not_of(kBlanks);
        line = first == std::string_view::npos ? "" : line.substr(first);
        line = line.substr(0, line.find_last_not_of(kBlanks) + 1);
    };
    trim();
    const std::size_t end = line.find_first_of(" \t");
    FirstLine result{std::string(line.substr(0, end)), {}};
    if (end != std::string_view::npos) {
        line.remove_prefix(end);
        trim();
        result.argument = line;
    }
    return result;
}

std::optional<Process::Error> refuse(const std::string& path)
{
    struct stat info { };
    if (::stat(path.c_str(), &info) != 0) {
        const int error = errno;
        if (error == ENOENT || error == ENOTDIR)
            return Process::Error{"NoSuchFile", fmt::format("there is no file {}", path)};
        return Process::Error{
            "NotReachable", fmt::format("{}: {}", path, std::generic_category().message(error))};
    }
    if (S_ISDIR(info.st_mode))
        return Process::Error{"NotAProgram", fmt::format("{} is a folder", path)};
    if (!S_ISREG(info.st_mode))
        return Process::Error{"NotAProgram", fmt::format("{} is no regular file", path)};
    if (::access(path.c_str(), X_OK) != 0)
        return Process::Error{
            "NotExecutable", fmt::format("{} is not marked as executable (\"chmod +x\" does that)", path)};
    return std::nullopt;
}

Process::Error withoutInterpreter(const std::string& path, const std::string& interpreter)
{
    if (interpreter.ends_with('\r'))
        return {"NoInterpreter",
            fmt::format("the first line of {} ends in a carriage return, which the system takes for a part "
                        "of the interpreter's name",
                path)};
    return {"NoInterpreter",
        fmt::format("{} asks for the interpreter \"{}\", which can't be run", path, interpreter)};
}

Process::Error describe(
    const SpawnFailure& failure, const std::string& path, const std::optional<FirstLine>& firstLine)
{
    using Kind = SpawnFailure::Kind;
    if (failure.kind == Kind::NotAProgram)
        return {"NotAProgram", fmt::format("{} is no program for this machine", path)};
    if (firstLine && failure.kind != Kind::Other)
        return withoutInterpreter(path, firstLine->interpreter);
    if (failure.kind == Kind::NotThere)
        return {"NoInterpreter", fmt::format("{} needs a loader that this machine doesn't have", path)};
    return {"LaunchFailed", fmt::format("{}: {}", path, failure.reason)};
}

} // namespace

struct Process::State {
    std::shared_ptr<Child> child;
};

Process::Process(std::shared_ptr<State> state) : state_(std::move(state)) { }

Process::~Process() = default;

std::optional<Process::Error> Process::whyNotLaunchable(const std::string& path)
{
    if (auto refusal = refuse(path))
        return refusal;
    const auto firstLine = readFirstLine(path);
    // A relative path is resolved in the work folder of the later launch.
    if (firstLine && firstLine->interpreter.starts_with('/')
        && ::access(firstLine->interpreter.c_str(), X_OK) != 0)
        return withoutInterpreter(path, firstLine->interpreter);
    return std::nullopt;
}

Result<std::shared_ptr<Process>, Process::Error> Process::launch(const Request& request)
{
    const std::string path = paths::absolute(request.path);
    if (const auto refusal = refuse(path))
        return *refusal;
    if (!request.workDirectory.empty() && !files::isDirectory(request.workDirectory))
        return Error{
            "NoWorkFolder", fmt::format("there is no folder {} to run {} in", request.workDirectory, path)};
    ProcessWarden* warden = ProcessWarden::instance();
    if (!warden)
        return Error{"LaunchFailed", fmt::format("{}: there is no thread left to watch over it", path)};

    const auto firstLine = readFirstLine(path);
    std::vector<std::string> command;
    std::vector<std::string> environment;
    if (firstLine && firstLine->interpreter == "/bin/sh") {
        const auto bash = request.readByBashFirst.empty() ? std::nullopt : systemshell::bash();
        if (bash)
            environment.push_back("BASH_ENV=" + request.readByBashFirst);
        command = bash ? std::vector{*bash} : systemshell::command();
        if (!firstLine->argument.empty())
            command.push_back(firstLine->argument);
    }
    command.push_back(path);
    command.insert(command.end(), request.arguments.begin(), request.arguments.end());

    std::string mark = uniqueString();
    const auto leader = spawn(command, request.workDirectory, mark, environment);
    if (!leader)
        return describe(leader.error(), path, firstLine);
    auto child = std::make_shared<Child>(*leader, std::move(mark));
    warden->add(child);
    return std::shared_ptr<Process>(new Process(std::make_shared<State>(State{std::move(child)})));
}

bool Process::isRunning()
{
    return !state_->child->ended;
}

void Process::terminate()
{
    ProcessWarden::instance()->terminate(state_->child);
}

bool Process::waitUntilExit(double limitInSeconds)
{
    return ProcessWarden::instance()->waitUntilExit(*state_->child, limitInSeconds);
}

int Process::terminationStatus()
{
    return state_->child->ended ? state_->child->status.load() : -1;
}

int Process::processIdentifier() const
{
    return state_->child->leader;
}

bool Process::finishTerminations(double limitInSeconds)
{
    ProcessWarden* warden = ProcessWarden::instance();
    return !warden || warden->finishTerminations(limitInSeconds);
}

void Process::killTerminating()
{
    if (ProcessWarden* warden = ProcessWarden::instance())
        warden->killTerminating();
}

} // namespace platform
