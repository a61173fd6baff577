// What front ends show of a batch besides its panel: what stands still, and what the scheduler says.

#include "platform/loop/Pace.h"
#include "remote/cluster/SVTrelkindEngineLSF.h"
#include "remote/cluster/SchedulerJobs.h"
#include "remote/machines/ClusterCondition.h"
#include "remote/machines/SignInAnswers.h"
#include "task/runs/RunTimes.h"
#include "task/single/SVSingleTask.h"
#include "task/single/SVTaskController.h"
#include "task/wrapper/TaskNumbers.h"
#include "toolkit/Workspace.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

bool SVTrelkindEngineLSF::isBusy() const
{
    using Engine = SVTrelkindEngineLSF;
    constexpr bool Engine::*kBusyMarks[] = {&Engine::creatingWorkFolder_,
        &Engine::checkingIfExecutableExists_, &Engine::copyingCodeOver_, &Engine::compilingCode_,
        &Engine::checkingIfCompileWorked_, &Engine::uploadingTasks_, &Engine::submittingRun_,
        &Engine::checkingOutput_, &Engine::removingEverything_, &Engine::askingScheduler_};
    return std::any_of(std::begin(kBusyMarks), std::end(kBusyMarks),
        [this](bool Engine::*mark) { return this->*mark && !(stuckStep_ && stuckStep_->busyMark == mark); });
}

std::optional<std::string> SVTrelkindEngineLSF::standsStill() const
{
    if (stuckStep_)
        return stuckStep_->words;
    if (!panel_.checkWorkFolderButton.isHidden())
        return panel_.directoryNameField.stringValue();
    if (!panel_.checkAgainButton.isHidden() && !infoFile_.has(BatchFile::kExecutableExists))
        return panel_.sourceStatus.stringValue();
    if (!panel_.checkTaskUploadButton.isHidden())
        return panel_.inputStatus.stringValue();
    return std::nullopt;
}

std::optional<std::string> SVTrelkindEngineLSF::waitsForSignIn() const
{
    if (isBusy() || (!standsStill() && !unknownSince_))
        return std::nullopt;
    const std::string login = passwordInfo()->login();
    return SignInAnswers::shared().isWaiting(login) ? std::optional(login) : std::nullopt;
}

void SVTrelkindEngineLSF::tryAgain()
{
    for (toolkit::Button* button :
        {&panel_.checkWorkFolderButton, &panel_.checkAgainButton, &panel_.checkTaskUploadButton})
        button->press();
}

void SVTrelkindEngineLSF::signIn()
{
    const auto login = waitsForSignIn();
    if (!login)
        return;
    SignInAnswers::shared().ask(*login, [weak = weak_from_this()](bool areAnswered) {
        const auto self = std::static_pointer_cast<SVTrelkindEngineLSF>(weak.lock());
        if (!self || !areAnswered || self->isBusy())
            return;
        if (self->standsStill())
            self->tryAgain();
        else
            self->checkForOutput();
    });
}

void SVTrelkindEngineLSF::showSituation()
{
    std::vector<std::string> lines;
    const auto login = waitsForSignIn();
    if (login)
        lines.push_back(fmt::format("{} waits for a sign-in", *login));
    if (stuckStep_)
        lines.push_back(stuckStep_->words);
    if (unknownSince_)
        lines.push_back(fmt::format("Nothing is known since {}", momentText(*unknownSince_)));
    lines.insert(lines.end(), remarks_.begin(), remarks_.end());
    panel_.situation.setStringValue(fmt::format("{}", fmt::join(lines, "\n")));
    const auto& notify = toolkit::Workspace::shared().notify;
    if (notify && login && panel_.signInButton.isHidden())
        notify(platform::paths::lastComponent(wrapper_), lines.front());
    panel_.signInButton.setHidden(!login);
}

std::optional<double> SVTrelkindEngineLSF::secondsToNextLook() const
{
    if (!checkingTimer_ || checkingOutput_)
        return std::nullopt;
    return std::max(0.0, nextLook_ - platform::monotonicSeconds());
}

// The batch goes on whatever comes of it.
void SVTrelkindEngineLSF::askForCondition()
{
    addShort(std::make_shared<SVSSHCommand>(
        clustercondition::query(machineWorkDirectory()), passwordInfo(), nullptr,
        [name = machine_->machineName()](SVSSHCommand& operation) {
            clustercondition::report(name, clustercondition::remarks(operation.printed()));
        },
        nullptr));
}

void SVTrelkindEngineLSF::askScheduler()
{
    if (askingScheduler_)
        return;
    askingScheduler_ = true;
    const auto self = std::static_pointer_cast<SVTrelkindEngineLSF>(shared_from_this());
    addShort(std::make_shared<SVSSHCommand>(schedulerjobs::queryCommand(), passwordInfo(), nullptr,
        callback(&SVTrelkindEngineLSF::schedulerAnswered),
        [self](const std::string&) { self->askingScheduler_ = false; }));
}

void SVTrelkindEngineLSF::schedulerAnswered(SVSSHCommand& operation)
{
    askingScheduler_ = false;
    remarks_.clear();
    if (!isAttached() || operation.exitStatus() != 0)
        return; // A cluster without this command has nothing to tell.
    std::map<std::string, std::vector<int>> waiting; // By the reason.
    std::set<int> known;
    for (const SchedulerJob& job : schedulerjobs::parse(operation.printed(), workDirectory())) {
        known.insert(job.run);
        if (job.state == "PENDING")
            waiting[job.reason].push_back(job.run + 1);
    }
    for (auto& [reason, runs] : waiting) {
        std::sort(runs.begin(), runs.end());
        remarks_.push_back(fmt::format("Waiting ({}): {}", reason, numberRanges(runs)));
    }
    // A run may end between the look at its files and this answer: it is lost when the next look doesn't find
    // its mark either.
    std::set<int> gone;
    std::vector<int> lost;
    for (const auto& task : taskController_->taskInformation()) {
        const int run = task->numberInProject();
        if (task->taskIsFinished() || known.contains(run))
            continue;
        gone.insert(run);
        if (goneRuns_.contains(run))
            lost.push_back(run + 1);
    }
    goneRuns_ = std::move(gone);
    if (!lost.empty())
        remarks_.push_back(fmt::format(
            "Lost, since the scheduler has no job for them and they have not ended: {}. Submit them again in "
            "their folders there, or end the batch",
            numberRanges(lost)));
}
