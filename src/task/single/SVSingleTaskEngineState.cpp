// The part of a task that engines and machines call, and aborting.

#include "task/single/SVSingleTask.h"

void SVSingleTask::setShouldBeRun(bool should)
{
    if (should != shouldBeRun_)
        blackList_.reset();
    shouldBeRun_ = should;
    if (should)
        abortStatus_ = NoAbort;
}

void SVSingleTask::submittedToWaitingQueOn(SVTaskMachine& machine)
{
    waitingOn_ = &machine;
    submittedToWaitQue_ = true;
    transferringInput_ = false;
    reloadTaskList();
}

void SVSingleTask::transferringInput()
{
    submittedToWaitQue_ = false;
    transferringInput_ = true;
    reloadTaskList();
}

void SVSingleTask::failedAtTransferringOn(SVTaskMachine& machine)
{
    if (!blackList_)
        blackList_.emplace();
    if (const auto name = machine.machineName())
        blackList_->insert(*name);
    transferringInput_ = transferringOutput_ = false;
    waitingOn_ = nullptr;
    if (taskShouldBeAborted())
        shouldBeRun_ = false;
    abortStatus_ = NoAbort;
    if (SVTaskController* project = insideProject_)
        project->fillEngines();
}

void SVSingleTask::startedOn(SVTaskMachine& machine)
{
    submittedToWaitQue_ = transferringInput_ = false;
    waitingOn_ = nullptr;
    currentlyRunning_ = true;
    runningOn_ = &machine;
    temporaryOutput_.reset();
    if (SVTaskController* project = insideProject_)
        project->startedComputingTask(*this, &machine);
    if (!machine.isLocal())
        remoteOutput_ = std::make_shared<KRRemoteOutputTask>(*this, [this] { return runningOn_; });
    if (!singleTaskSelectedInView_)
        return;
    if (remoteOutput_) {
        outputFile_.setTable(nullptr);
        remoteOutput_->setTable(outputTable());
        remoteOutput_->startMonitor();
    } else {
        outputFile_.setTable(outputTable());
        outputFile_.updateFileContent();
        startOutputTimerIfNeeded();
    }
}

void SVSingleTask::transferringOutput()
{
    currentlyRunning_ = false;
    transferringOutput_ = true;
    reloadTaskList();
}

void SVSingleTask::finishedOn(SVTaskMachine& machine)
{
    currentlyRunning_ = transferringOutput_ = false;
    updateBasedOnContent();
    shouldBeRun_ = false;
    runningOn_ = nullptr;
    temporaryOutput_.reset();
    const bool wasRemote = remoteOutput_ != nullptr;
    remoteOutput_.reset();
    abortStatus_ = NoAbort;
    if (singleTaskSelectedInView_) {
        timerWaitingToStrike_.reset();
        if (wasRemote) {
            // Set to null first, so that the file that was copied over is read again.
            outputFile_.setFileName(std::nullopt);
            outputFile_.setFileName(pathOf("runOutput"));
        } else {
            outputFile_.updateFileContent();
        }
        outputFile_.setTable(outputTable());
    }
    if (SVTaskController* project = insideProject_)
        project->finishedTask(*this, &machine);
    sendChangeNotification();
}

void SVSingleTask::leaveEngines()
{
    submittedToWaitQue_ = transferringInput_ = currentlyRunning_ = transferringOutput_ = false;
    waitingOn_ = runningOn_ = nullptr;
    taskIsFinished_ = false;
}

void SVSingleTask::engineGotDisconnected(SVTaskMachine& machine)
{
    if (&machine != waitingOn_ && &machine != runningOn_)
        return;
    if (transferringInput_ || transferringOutput_)
        terminateSCPTask();
    leaveEngines();
    if (SVTaskController* project = insideProject_)
        project->putTaskBackIntoQue(*this);
}

void SVSingleTask::aborted()
{
    shouldBeRun_ = false;
    leaveEngines();
}

void SVSingleTask::startedJob(SVLocalTask&)
{
    currentlyRunning_ = true;
    reloadTaskList();
}

void SVSingleTask::endedJob(SVLocalTask&)
{
    currentlyRunning_ = shouldBeRun_ = false;
    updateBasedOnContent();
    reloadTaskList();
}

void SVSingleTask::setNumberOfOutputLines(int count)
{
    if (remoteOutput_)
        remoteOutput_->setNumberOfOutputLines(count);
}

void SVSingleTask::abortJob()
{
    waitingOn_ = nullptr;
    if (runningOn_)
        runningOn_->abortJob(*this);
}

void SVSingleTask::abortRun()
{
    abortStatus_ = Abort;
    const bool transferring = transferringInput_ || transferringOutput_;
    if (transferring)
        terminateSCPTask();
    if (runningOn_)
        runningOn_->abortJob(*this);
    else if (waitingOn_ && !transferring)
        waitingOn_->abortJob(*this);
}

void SVSingleTask::stoppedSCPTask(const std::shared_ptr<platform::Process>& process)
{
    if (scpTask_ == process)
        scpTask_.reset();
}

void SVSingleTask::terminateSCPTask()
{
    if (scpTask_ && scpTask_->isRunning())
        scpTask_->terminate();
    scpTask_.reset();
}
