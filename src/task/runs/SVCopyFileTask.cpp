#include "task/runs/SVCopyFileTask.h"

#include "platform/files/FileManager.h"
#include "platform/loop/MainLoop.h"

#include <filesystem>
#include <system_error>
#include <tuple>

namespace {

namespace files = platform::files;
constexpr double kSecondsBetweenReports = 0.2;

bool copyReplacing(const SVCopyFileTask::CopyAction& action)
{
    std::error_code error;
    if (std::filesystem::equivalent(action.from, action.to, error))
        return true; // The file is already in place; removing it would lose it.
    std::ignore = files::remove(action.to);
    return files::copy(action.from, action.to).ok();
}

} // namespace

std::shared_ptr<SVCopyFileTask> SVCopyFileTask::createWithList(std::vector<CopyAction> listOfCopyActions,
    std::shared_ptr<SVTaskAddition> progress, double fraction,
    std::shared_ptr<SVCopyFileTaskCallback> callback)
{
    std::shared_ptr<SVCopyFileTask> task(new SVCopyFileTask);
    task->listOfCopyActions_ = std::move(listOfCopyActions);
    task->progress_ = std::move(progress);
    task->fractionForList_ = fraction;
    task->callback_ = std::move(callback);
    return task;
}

void SVCopyFileTask::report(double increase)
{
    if (progress_)
        platform::MainLoop::main().post([view = progress_, increase] { view->updateSVProgress(increase); });
}

void SVCopyFileTask::main()
{
    double reported = 0;
    double lastReport = platform::monotonicSeconds();
    bool allCopied = true;
    const auto count = static_cast<double>(listOfCopyActions_.size());
    for (std::size_t i = 0; i < listOfCopyActions_.size(); ++i) {
        if (!copyReplacing(listOfCopyActions_[i])) {
            allCopied = false;
            break;
        }
        if (platform::monotonicSeconds() - lastReport <= platform::Pace::of(kSecondsBetweenReports).count())
            continue;
        const double percentage = static_cast<double>(i + 1) / count * 100;
        report(percentage - reported);
        reported = percentage;
        lastReport = platform::monotonicSeconds();
    }
    success_ = allCopied;
    if (reported != 100)
        report(100 - reported);
    platform::MainLoop::main().postAndWait([this] {
        if (callback_)
            callback_->taskFinished(*this);
        // The last reference to an engine or a view must be released on the main thread.
        callback_.reset();
        progress_.reset();
    });
}
