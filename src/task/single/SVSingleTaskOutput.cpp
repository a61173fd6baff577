// The display of a task: its output in the window's table, and its context menu.

#include "task/single/SVSingleTask.h"

namespace {
constexpr double kSecondsBetweenOutputUpdates = 1.0;
}

toolkit::Table* SVSingleTask::outputTable() const
{
    const SVTaskController* project = insideProject_;
    return project ? project->outputTable() : nullptr;
}

// A chain of one-shot timers that ends when the task stops running.
void SVSingleTask::startOutputTimerIfNeeded()
{
    if (timerWaitingToStrike_ || !shouldContinuouslyUpdateOutput())
        return;
    timerWaitingToStrike_ = platform::Timer::schedule(
        kSecondsBetweenOutputUpdates, platform::Timer::Repeats::No, [this] { updateStandardOutView(); });
}

void SVSingleTask::selectedInView(toolkit::Table* table)
{
    if (singleTaskSelectedInView_)
        return;
    singleTaskSelectedInView_ = true;
    if (remoteOutput_) {
        if (!remoteOutput_->hasBeenStarted())
            remoteOutput_->startMonitor();
        remoteOutput_->setTable(table);
    } else {
        outputFile_.setFileName(pathOf("runOutput"));
        outputFile_.setTable(table);
        startOutputTimerIfNeeded();
    }
}

void SVSingleTask::deselectFromView()
{
    if (!singleTaskSelectedInView_)
        return;
    singleTaskSelectedInView_ = false;
    outputFile_.setTable(nullptr);
    if (!remoteOutput_)
        return;
    remoteOutput_->setTable(nullptr);
    if (remoteOutput_->hasBeenStarted())
        remoteOutput_->stopMonitor();
}

void SVSingleTask::updateStandardOutView()
{
    timerWaitingToStrike_.reset();
    if (!singleTaskSelectedInView_)
        return;
    outputFile_.updateFileContent();
    startOutputTimerIfNeeded();
}

void SVSingleTask::updateOutput()
{
    outputFile_.updateFileContent();
}

toolkit::MenuItem SVSingleTask::menuItem(
    const char* title, const char* action, void (SVSingleTask::*perform)())
{
    toolkit::MenuItem item;
    item.title = title;
    item.action = action;
    item.isEnabled = abortStatus_ == NoAbort;
    item.perform = [weak = weak_from_this(), perform](const toolkit::MenuItem&) {
        if (const auto task = weak.lock())
            ((*task).*perform)();
    };
    return item;
}

std::shared_ptr<toolkit::Menu> SVSingleTask::contextMenu()
{
    auto menu = std::make_shared<toolkit::Menu>("  ");
    if (transferringInput_ || transferringOutput_) {
        menu->add(menuItem("Retry transfer", "retrySCP:", &SVSingleTask::retrySCP));
        menu->add(menuItem("Abort Task", "abortSCP:", &SVSingleTask::abortSCP));
    } else if ((runningOn_ && currentlyRunning_) || submittedToWaitQue_) {
        menu->add(menuItem("Abort Task", "abortRun:", &SVSingleTask::abortRun));
    } else {
        toolkit::MenuItem nothing;
        nothing.title = "Nothing";
        nothing.action = "foo:";
        nothing.isEnabled = false;
        menu->add(std::move(nothing));
    }
    return menu;
}
