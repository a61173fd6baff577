#include "temporary/KRContainerFolder.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "platform/loop/MainLoop.h"
#include "temporary/RemoveEverything.h"
#include "temporary/TemporaryFiles.h"

#include <algorithm>
#include <filesystem>
#include <thread>

namespace {

constexpr const char* kUnzip = "/usr/bin/unzip";
constexpr double kLongestEnding = 5; // Seconds; unzip ends with the first signal.

// The name as unzip takes it: for no option, and as a pattern that fits no other archive.
std::string asArgument(const std::string& name)
{
    std::string argument = name.starts_with('-') ? "./" : "";
    if (name.find_first_of("*?[") == std::string::npos)
        return argument + name;
    for (const char character : name) {
        if (character == '*' || character == '?' || character == '[')
            argument += {'[', character, ']'};
        else if (character == '\\')
            argument += "\\\\";
        else
            argument += character;
    }
    return argument;
}

// Through a link that one archive brings, the next one could write outside of the folder.
void removeLinks(const std::string& folder)
{
    namespace fs = std::filesystem;
    std::error_code failure;
    std::vector<fs::path> links;
    for (fs::recursive_directory_iterator entry(folder, failure), end; !failure && entry != end;
         entry.increment(failure))
        if (entry->is_symlink())
            links.push_back(entry->path());
    for (const fs::path& link : links)
        fs::remove(link, failure);
}

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
    for (const Pending& pending : pendingTasks_) {
        pending.task->terminate();
        pending.task->waitUntilExit(kLongestEnding);
        removeLinks(folderName_);
    }
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
    if (platform::paths::extension(name) != "zip") {
        KRMessageCenter::seriousErrorMessage("Unsupported ending");
        return;
    }
    // The process's null input answers no to every question, and its null output holds nothing up.
    const auto task = platform::Process::launch({kUnzip, {asArgument(name)}, folderName_});
    if (!task) {
        KRMessageCenter::addMessage("Could not unpack an archive.", task.error().reason);
        if (delegate)
            delegate->finishedCompressingFileInside(shared_from_this());
        return;
    }
    pendingTasks_.push_back({*task, std::move(delegate)});
    std::thread([folder = weak_from_this(), task = *task] {
        task->waitUntilExit(platform::MainLoop::kForever);
        platform::MainLoop::main().post([folder, task] {
            if (const auto self = folder.lock())
                self->taskEnded(task);
        });
    }).detach();
}

void KRContainerFolder::taskEnded(const std::shared_ptr<platform::Process>& task)
{
    const auto found = std::find_if(pendingTasks_.begin(), pendingTasks_.end(),
        [&](const Pending& pending) { return pending.task == task; });
    const auto delegate = found->delegate;
    pendingTasks_.erase(found);
    removeLinks(folderName_);
    refreshContent();
    if (delegate)
        delegate->finishedCompressingFileInside(shared_from_this());
}
