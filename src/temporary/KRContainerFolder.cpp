#include "temporary/KRContainerFolder.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "platform/loop/MainLoop.h"
#include "temporary/RemoveEverything.h"
#include "temporary/TemporaryFiles.h"

#include <algorithm>
#include <thread>

namespace {

constexpr const char* kUnzip = "/usr/bin/unzip";

} // namespace

std::shared_ptr<KRContainerFolder> KRContainerFolder::createWithTemporaryFolder(const std::string& name)
{
    if (name.empty())
        return nullptr;
    return std::shared_ptr<KRContainerFolder>(new KRContainerFolder(name, true, true));
}

std::shared_ptr<KRContainerFolder> KRContainerFolder::createWithFolder(
    const std::string& name, bool deleteWhenReleased)
{
    if (name.empty())
        return nullptr;
    return std::shared_ptr<KRContainerFolder>(new KRContainerFolder(name, false, deleteWhenReleased));
}

KRContainerFolder::KRContainerFolder(std::string name, bool isTemporary, bool deleteWhenReleased)
    : folderName_(std::move(name)), temporaryFolder_(isTemporary),
      responsibleForRemovingFolder_(deleteWhenReleased)
{
    refreshContent();
}

KRContainerFolder::~KRContainerFolder()
{
    if (responsibleForRemovingFolder_) {
        if (temporaryFolder_)
            TemporaryFiles::shared().handBackFolder(folderName_);
        else if (!temporary::removeEverything(folderName_))
            KRMessageCenter::addMessage("Internal Error: Could not remove a temporary folder");
    }
    if (!pendingTasks_.empty())
        KRMessageCenter::addMessage("Dangling tasks");
}

void KRContainerFolder::refreshContent()
{
    contentList_ = platform::files::contentsOfDirectory(folderName_).value_or({});
    std::sort(contentList_.begin(), contentList_.end());
}

void KRContainerFolder::uncompressFile(
    const std::string& name, std::shared_ptr<KRContainerFolderDelegate> delegate)
{
    if (platform::paths::lowercaseExtension(name) != "zip") {
        KRMessageCenter::seriousErrorMessage("Unsupported ending");
        return;
    }
    // A name is never taken for an option. The process's null input answers no to every question, and its
    // null output holds nothing up.
    const std::string argument = name.starts_with('-') ? "./" + name : name;
    const auto task = platform::Process::launch({kUnzip, {argument}, folderName_});
    if (!task) {
        KRMessageCenter::addMessage("Could not unpack an archive.", task.error().reason);
        if (delegate)
            delegate->finishedCompressingFileInside(shared_from_this());
        return;
    }
    pendingTasks_.push_back({*task, std::move(delegate)});
    std::thread([self = shared_from_this(), task = *task]() mutable {
        task->waitUntilExit(platform::MainLoop::kForever);
        platform::MainLoop::main().post([self = std::move(self), task] { self->taskEnded(task); });
    }).detach();
}

void KRContainerFolder::taskEnded(const std::shared_ptr<platform::Process>& task)
{
    const auto found = std::find_if(pendingTasks_.begin(), pendingTasks_.end(),
        [&](const Pending& pending) { return pending.task == task; });
    const auto delegate = found->delegate;
    pendingTasks_.erase(found);
    refreshContent();
    if (delegate)
        delegate->finishedCompressingFileInside(shared_from_this());
}
