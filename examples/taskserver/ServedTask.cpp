#include "examples/taskserver/ServedTask.h"

#include "platform/ProcessInfo.h"
#include "platform/files/FileManager.h"

#include <fmt/format.h>
#include <tuple>

namespace {

namespace files = platform::files;

std::string quoted(const std::string& word)
{
    std::string text = "'";
    for (const char c : word)
        text += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return text + "'";
}

} // namespace

ServedTask::~ServedTask()
{
    if (process_ && process_->isRunning())
        process_->terminate();
}

platform::Status ServedTask::start()
{
    const std::string script = job_.folder + "/VTask_runThis";
    for (const char* marker : {"/VTask_runStarted", "/VTask_runCompleted", "/VTask_exitStatus"})
        std::ignore = files::remove(job_.folder + marker);
    const std::string text = fmt::format("#!/bin/sh\n\ntouch VTask_runStarted\nnice {} {} > runOutput 2>&1\n"
                                         "echo $? > VTask_exitStatus\necho {} > VTask_runCompleted\n",
        quoted(job_.executable), job_.arguments, quoted(platform::hostName()));
    if (auto written = files::writeFileAtomically(script, text, files::kOwnersFolder, files::Flush::No);
        !written)
        return written;
    std::ignore = files::setPermissions(script, files::kOwnersFolder);
    auto launched = platform::Process::launch({script, {}, job_.folder});
    if (!launched)
        return platform::Error{launched.error().reason};
    process_ = *launched;
    return {};
}

void ServedTask::abort()
{
    isAborted_ = true;
    if (process_)
        process_->terminate();
}
