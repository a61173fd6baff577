#include "task/single/SVSingleTask.h"

#include "diagnostics/KRMessageCenter.h"
#include "task/single/SVTaskApplication.h"
#include "task/wrapper/TaskWrapper.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <tuple>
#include <utility>

namespace {

namespace files = platform::files;

constexpr const char* kProgressFile = "SVProgress";
constexpr double kMostPercent = 100;

bool isHidden(std::string_view name)
{
    return name.starts_with('.') || name.starts_with("VTask_") || name == kProgressFile;
}

} // namespace

std::shared_ptr<SVSingleTask> SVSingleTask::createInsideProject(
    SVTaskController* project, int sequenceNumber, const platform::Value& information)
{
    if (!project)
        return nullptr;
    std::shared_ptr<SVSingleTask> task(new SVSingleTask(*project, sequenceNumber, information));
    task->updateBasedOnContent();
    return task;
}

SVSingleTask::SVSingleTask(SVTaskController& project, int number, const platform::Value& information)
    : insideProject_(&project), numberInProject_(number),
      folderName_(project.wrapperName() + "/" + std::to_string(number)),
      timeValue_(numberOfValue(information.find("Time Value"))),
      argumentFlag_(textOfValue(information.find("Argument")))
{ }

SVSingleTask::~SVSingleTask() = default;

std::string SVSingleTask::description() const
{
    return fmt::format("<0x{}> - #{} - {}", static_cast<const void*>(this), numberInProject_, statusString());
}

bool SVSingleTask::waitingToBeSubmitted() const
{
    return shouldBeRun_ && !hasBeenCommitted() && !taskIsFinished_;
}

bool SVSingleTask::hasBeenCommitted() const
{
    return submittedToWaitQue_ || transferringInput_ || currentlyRunning_ || transferringOutput_;
}

bool SVSingleTask::canSubmitTo(const SVTaskMachine& machine) const
{
    const auto name = machine.machineName();
    return !name || !blackList_ || !blackList_->contains(*name);
}

std::string SVSingleTask::statusString() const
{
    const auto nameOf = [](const SVTaskMachine* machine) {
        return machine ? machine->machineName().value_or("") : std::string();
    };
    std::string text;
    if (taskIsFinished_)
        text = machineItRanOn_ && !machineItRanOn_->empty() ? fmt::format("Finished ({})", *machineItRanOn_)
                                                            : "Finished";
    else if (submittedToWaitQue_)
        text = fmt::format("Waiting on {}", nameOf(waitingOn_));
    else if (transferringInput_)
        text = fmt::format("Transferring input to {}", nameOf(waitingOn_));
    else if (currentlyRunning_)
        text = runningOn_ ? fmt::format("Running on {}", nameOf(runningOn_)) : "Running";
    else if (transferringOutput_)
        text = fmt::format("Transferring output from {}", nameOf(runningOn_));
    else if (shouldBeRun_)
        text = "Will be run";
    else
        return "Empty";
    if (taskShouldBeAborted())
        text += " (aborting)";
    else if (copyShouldBeRetried())
        text += " (retrying)";
    return text;
}

bool SVSingleTask::readMarkers()
{
    bool changed = false;
    // Returns the modification time of the marker; nothing when it is missing.
    const auto read = [&](const char* marker, bool& flag) {
        const auto found = files::attributes(folderName_ + marker);
        changed |= found.has_value() != flag;
        flag = found.has_value();
        return found ? std::optional(found->modified) : std::nullopt;
    };
    times_.started = read("/VTask_runStarted", taskHasStarted_);
    times_.ended = read("/VTask_runCompleted", taskHasFinished_);
    const auto aborted = read("/VTask_aborted", taskWasAborted_);
    if (!times_.ended)
        times_.ended = aborted;
    // The file is kept, so the next call finds it again and counts another change.
    if (taskHasFinished_ && taskWasAborted_)
        taskWasAborted_ = false;
    return changed;
}

void SVSingleTask::updateBasedOnContent()
{
    const bool markersChanged = readMarkers();
    const double earlier = taskFraction_;
    if (taskHasFinished_)
        taskFraction_ = kMostPercent;
    else
        taskFraction_ =
            std::min(static_cast<double>(files::size(pathOf(kProgressFile)).value_or(0)), kMostPercent);
    if (!markersChanged && taskFraction_ == earlier)
        return;
    exitStatus_ = taskHasFinished_ ? RunExit::ofRun(folderName_) : std::nullopt;
    forgetFiles();
    if (SVTaskController* project = insideProject_)
        project->changeInTask(*this);
    sendChangeNotification();
}

void SVSingleTask::forgetFiles()
{
    cachedFileInformation_.clear();
    cachedFileList_.reset();
    std::erase_if(contentCache_, [this](const auto& entry) { return !files::exists(pathOf(entry.first)); });
    for (auto& [name, cached] : contentCache_)
        cached.isStale = true;
}

const std::vector<std::string>& SVSingleTask::fileList()
{
    if (!cachedFileList_) {
        cachedFileList_ = files::contentsOfDirectory(folderName()).value_or(std::vector<std::string>());
        std::erase_if(*cachedFileList_, isHidden);
    }
    return *cachedFileList_;
}

std::optional<platform::FileAttributes> SVSingleTask::informationForFile(const std::string& name)
{
    if (const auto known = cachedFileInformation_.find(name); known != cachedFileInformation_.end())
        return known->second;
    const auto read = files::attributes(pathOf(name));
    if (read)
        cachedFileInformation_[name] = *read;
    return read;
}

std::shared_ptr<SVFileContent> SVSingleTask::contentForFile(const std::string& name)
{
    if (!SVFileContent::isDataFile(name) || !SVFileContent::scanner())
        return nullptr;
    CachedContent& cached = contentCache_[name];
    const bool isStale = std::exchange(cached.isStale, false);
    if (!cached.content)
        cached.content = SVFileContent::scanner()(pathOf(name), [weak = weak_from_this()] {
            const auto task = weak.lock();
            if (task && task->insideProject_)
                task->insideProject_->changeInContentOf(*task);
        });
    else if (isStale)
        cached.content->update();
    return cached.content;
}

void SVSingleTask::dropReadingsExceptOf(const std::optional<std::string>& name)
{
    std::erase_if(contentCache_, [&name](const auto& entry) {
        const auto& content = entry.second.content;
        return entry.first != name && (!content || content->isBeingRead());
    });
}

void SVSingleTask::removeAllButInputs(const std::vector<std::string>& entries) const
{
    const SVTaskController* project = insideProject_;
    if (!project)
        return;
    if (project->inputFilesAreUnknown()) {
        KRMessageCenter::addMessage("Could not clear the run.",
            fmt::format(
                "{}: the inputs of this wrapper are not known, and nothing was removed.", folderName_));
        return;
    }
    const auto& inputs = project->inputFiles();
    for (const std::string& name : entries)
        if (!inputs || std::find(inputs->begin(), inputs->end(), name) == inputs->end())
            std::ignore = files::remove(pathOf(name));
}

void SVSingleTask::clearData()
{
    if (const auto entries = files::contentsOfDirectory(folderName()))
        removeAllButInputs(*entries);
    updateBasedOnContent();
}

void SVSingleTask::removeComputedResults()
{
    // The controller, which knows the inputs, may only be used on the main thread.
    if (!platform::MainLoop::main().isLoopThread())
        return platform::MainLoop::main().postAndWait([this] { removeComputedResults(); });
    taskIsFinished_ = false;
    // A single entry is the input, or nothing worth removing.
    if (const auto entries = files::contentsOfDirectory(folderName()); entries && entries->size() > 1)
        removeAllButInputs(*entries);
    updateOutput();
}

void SVSingleTask::removeFromProject()
{
    insideProject_ = nullptr;
    outputFile_.setTable(nullptr);
    if (remoteOutput_)
        remoteOutput_->setTable(nullptr);
}

std::shared_ptr<SVLocalTask> SVSingleTask::createTask()
{
    const SVTaskController* project = insideProject_;
    if (!project)
        return nullptr;
    return std::make_shared<SVLocalTask>(
        fmt::format("{}/MacOSX/{}", project->wrapperName(), project->executable().value_or("")),
        folderName() + "/", project->arguments(), shared_from_this());
}

void SVSingleTask::reloadTaskList()
{
    if (SVTaskController* project = insideProject_)
        project->reloadTaskList();
}

void SVSingleTask::sendChangeNotification()
{
    if (SVTaskApplication* app = SVTaskApplication::app())
        app->sendSorvantaChangeNotification(*this);
}
