#include "task/runs/ScriptRun.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/ProcessInfo.h"
#include "platform/files/FileManager.h"
#include "platform/files/Places.h"
#include "platform/process/Process.h"
#include "task/runs/RunTimes.h"

#include <fmt/format.h>

#include <memory>
#include <tuple>

namespace {

namespace files = platform::files;

constexpr float kWaitFirst = 0.2F; // Seconds between polls, up to the hundredth poll.
constexpr float kWaitNext = 2.0F;
constexpr int kAttempts = 40;
constexpr double kMostSecondsOfEnding = 10;
constexpr int kPollsForStart = 20;
constexpr int kPollsWithFirstWait = 100;

// Escapes what the shell interprets inside of double quotes, where the script has the path.
std::string betweenDoubleQuotes(const std::string& path)
{
    std::string quoted;
    for (const char c : path) {
        if (c == '"' || c == '\\' || c == '$' || c == '`')
            quoted += '\\';
        quoted += c;
    }
    return quoted;
}

void tellWhyNot(const std::string& name, const std::string& reason)
{
    KRMessageCenter::addMessage(
        "Could not run task", fmt::format("Could not run the task ({}-{}).", name, reason));
}

// The process of one run and what polling has found.
class Supervision {
public:
    explicit Supervision(const ScriptRun& run) : run_(run) { }

    bool launch()
    {
        polls_ = 0;
        const auto process = platform::Process::launch(
            {run_.workDirectory + run_.markers.script, {}, run_.workDirectory, recorder()});
        if (!process)
            tellWhyNot(process.error().name, process.error().reason);
        process_ = process.value_or(nullptr);
        return process_ != nullptr;
    }

    bool goesOn() const { return process_ && process_->isRunning() && !aborted_; }
    bool aborted() const { return aborted_; }
    void terminate() { process_->terminate(); }

    void pollUntil(int count)
    {
        while (polls_ < count && goesOn()) {
            run_.sleep(kWaitFirst);
            lookForAbort();
            ++polls_;
        }
    }

    void pollToTheEnd()
    {
        while (goesOn()) {
            lookForAbort();
            run_.sleep(kWaitNext);
        }
    }

private:
    std::string recorder() const
    {
        if (!run_.markers.recorder)
            return {};
        std::string path = platform::Places::resources() + "/" + run_.markers.recorder;
        return files::exists(path) ? path : std::string();
    }

    void lookForAbort()
    {
        if (!run_.abortRequested())
            return;
        process_->terminate();
        aborted_ = true;
    }

    const ScriptRun& run_;
    std::shared_ptr<platform::Process> process_;
    int polls_ = 0;
    bool aborted_ = false;
};

} // namespace

std::string ScriptRun::scriptText() const
{
    return fmt::format("#!/bin/sh\n\ntouch {}\nnice \"{}\" {} >& runOutput\necho \"{}\" > {}\n",
        markers.started, betweenDoubleQuotes(executable), argument, platform::hostName(), markers.completed);
}

ScriptRun::End ScriptRun::run() const
{
    std::ignore = files::remove(workDirectory + markers.completed);
    std::ignore = files::remove(workDirectory + markers.started);
    std::ignore = files::remove(workDirectory + RunExit::kFileName);
    const std::string script = workDirectory + markers.script;
    // A script that a session left behind must not run when the new one can't be written.
    std::ignore = files::remove(script);
    if (const auto written =
            files::writeFileAtomically(script, scriptText(), files::kOwnersFolder, files::Flush::No);
        !written) {
        tellWhyNot("NotWritten", written.error().text);
        return End::ByItself;
    }
    std::ignore = files::setPermissions(script, files::kOwnersFolder);

    Supervision supervision(*this);
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        if (!supervision.launch())
            return End::ByItself;
        supervision.pollUntil(kPollsForStart);
        if (!supervision.goesOn() || files::exists(workDirectory + markers.started))
            break;
        supervision.terminate();
        if (attempt == kAttempts - 1)
            return End::ByItself;
    }
    supervision.pollUntil(kPollsWithFirstWait);
    supervision.pollToTheEnd();
    if (!supervision.aborted())
        return End::ByItself;
    // The run owns the folder until none of its processes can write there.
    platform::Process::finishTerminations(kMostSecondsOfEnding);
    return End::Aborted;
}
