#pragma once

#include "platform/files/FolderLock.h"
#include "platform/files/Paths.h"
#include "platform/loop/MainLoop.h"
#include "platform/loop/OperationQueue.h"
#include "remote/cluster/BatchFile.h"
#include "remote/cluster/LsfAddition.h"
#include "remote/cluster/RemoteFileChecks.h"
#include "remote/cluster/RemoteFolderCommands.h"
#include "remote/cluster/SVCopyUsingSCPFromLocal.h"
#include "remote/cluster/SVSCPCopyFromFolders.h"
#include "remote/cluster/SVSSHCommand.h"
#include "remote/machines/KRTrelkindMachineLSF.h"
#include "task/engine/SVTrelkindEngine.h"

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

class SVSingleTask;

// Runs the batch of a wrapper on a cluster that is reached by SSH and SFTP alone. It is a chain of small
// steps: each looks at its flag in the batch's file, and either passes on or starts one background operation,
// whose callback sets the flag and enters the chain again. So the chain can be entered at its top at any
// time, by another process as well, and goes on from the last flag that reached the disk.
//
// Main thread. Operations that are under way when the window closes keep the engine alive, and their flags
// are still saved; no further step begins.
class SVTrelkindEngineLSF : public SVTrelkindEngine {
public:
    // Makes the engine, reads the batch's file, and begins or goes on with the batch.
    static std::shared_ptr<SVTrelkindEngineLSF> initWithTask(
        SVTaskController& controller, std::shared_ptr<KRTrelkindMachineLSF> machine, std::string queue);

    toolkit::View* settingsView() override { return &panel_.view; }
    bool isRunning() override { return true; }
    void disconnect() override;
    void disconnectFromTaskController() override;
    void updateStatus() override { }
    LsfAddition& panel() { return panel_; }

    // User actions of the panel.
    void checkWorkFolderAgain() { makeSureFolderExists(); }
    void tryRunningAgain();
    void tryUploadingTasks();
    void checkForOutput(); // Also the timer's.
    void minutesChanged();
    // Finds the executable by listing. Nothing calls it at present.
    void checkIfExecutableWorksAndRun(bool start);

    // Why the batch can't be begun or gone on with; nothing when it can.
    const std::optional<std::string>& refusal() const { return refusal_; }
    // Takes tasks whose arguments will not reach their runs, and begins.
    void goOnWithoutArguments();

    // What a front end shows besides the panel.
    bool isBusy() const; // An operation is under way.
    // The words of a step that has failed and isn't tried again by itself.
    std::optional<std::string> standsStill() const;
    // Only an engine made anew gets on. Not while another step still works, which would go on beside it.
    bool isStuck() const { return stuckStep_.has_value() && !isBusy(); }
    void tryAgain(); // Presses the buttons of the steps that have failed.
    // Asks a person what the login waits for, and then tries again what has failed.
    void signIn();
    bool hasBeenSubmitted() const { return infoFile_.has(BatchFile::kRunsStarted); }
    int numberOfLooks() const { return numberOfLooks_; } // Looks at the output that have ended.
    // Whether the last of them has brought every file that it should have.
    bool lastLookWasWhole() const { return lastLookWasWhole_; }
    // When the cluster was last reached, in seconds since 1970; nothing while the last look has worked.
    std::optional<double> unknownSince() const { return unknownSince_; }
    // The login (user@host) that a person has to answer for before the batch gets on (SignInAnswers).
    std::optional<std::string> waitsForSignIn() const;
    std::optional<double> secondsToNextLook() const;
    // What the scheduler says about the runs: why they wait, and those that it doesn't know any more.
    const std::vector<std::string>& remarks() const { return remarks_; }

    const BatchFile& batch() const { return infoFile_; }
    std::string programName() const; // The executable's name on the cluster.
    std::string workDirectory() const; // The batch's folder.
    double minutesBetweenChecks() const { return minutesBetweenChecks_; }

private:
    SVTrelkindEngineLSF(
        SVTaskController& controller, std::shared_ptr<KRTrelkindMachineLSF> machine, std::string queue);
    void begin();
    platform::Status checkBeforeBegin();

    // The steps. Each does nothing while its operation is under way.
    void makeSureFolderExists();
    void workFolderCheckFinished(SVCheckIfWorkFolderExists& operation);
    void showFolder();
    void makeSureExecutableExists();
    void linkCheckDone(SVCheckIfExecutableExist& operation);
    void uploadSources();
    void copyingSourcesFinished(SVCopyUsingSCPFromLocal& operation);
    void compileExecutable();
    void makeFinished(SVSSHCommand& operation);
    void makeSureCompilationWorked();
    void finishedCheckingMake(SVSCPCheckIfFileExist& operation);
    void executableExists();
    void makeSureTasksExist();
    void copyingTasksFinished(SVCopyUsingSCPFromLocal& operation);
    void runExecutableIfPossible();
    void startFinished(SVSSHCommand& operation);
    void reportRefusedJobs(const std::string& printed);
    void startRunningTasks() { } // The submission has its own step.
    void checkOutputIfNeeded();
    void scheduleTimer(double minutes);
    void stopTimers();
    void lookAfterSleep();
    void copyTaskStarted(const std::string& folder);
    void copyTask(const std::string& folder, bool hasNews);
    void copyFromFoldersFinished(SVSCPCopyFromFolders& operation);
    void noteContact(bool hasFailed);
    void removeFromServer();
    void folderRemovalDone(SVRemoveFolderOperation& operation);
    void filesThatExist(SVSCPCheckIfFilesExist& operation);
    void continueStrands();

    SVCopyUsingSCPFromLocal::List inputList() const;
    std::shared_ptr<SVSingleTask> taskNumbered(const std::string& folder) const;
    std::string remotePath(const char* name) const; // In the batch's folder.
    std::string executablePath() const;
    std::string machineWorkDirectory() const;
    SVSSHPasswordInfo::Pointer passwordInfo() const { return machine_->passwordInfo(); }
    SVCopyUsingSCPFromLocal::Progress progressOf(toolkit::ProgressBar LsfAddition::*bar);
    // A callback that keeps this engine, and does nothing once the batch has ended.
    template <typename Operation>
    std::function<void(Operation&)> callback(void (SVTrelkindEngineLSF::*step)(Operation&))
    {
        return [self = std::static_pointer_cast<SVTrelkindEngineLSF>(shared_from_this()), step](
                   Operation& operation) {
            if (!self->isEnded_)
                ((*self).*step)(operation);
        };
    }
    // Tells about a step that ended without a callback; its busy mark stays set, as the chain has it.
    std::function<void(const std::string&)> stuck(const char* step, bool SVTrelkindEngineLSF::*busyMark);
    void showSituation();
    void askForCondition();
    void askScheduler();
    void schedulerAnswered(SVSSHCommand& operation);
    void setRefusal(std::string sentence);
    bool isAttached() const { return taskController_ != nullptr; }
    void addLong(std::shared_ptr<platform::Operation> operation); // Copies and commands.
    void addShort(std::shared_ptr<platform::Operation> operation); // Checks, looks and the removal.

    const std::shared_ptr<KRTrelkindMachineLSF> machine_;
    const std::string queue_; // Only handed back when the wrapper is opened again.
    const std::string wrapper_;
    LsfAddition panel_;
    BatchFile infoFile_;
    std::shared_ptr<platform::FolderLock> lock_;
    std::shared_ptr<void> openBatch_; // Keeps logins that a person has answered for.
    std::optional<std::string> refusal_;
    bool isEnded_ = false; // disconnect() has come: no flag may be written any more.
    bool creatingWorkFolder_ = false;
    bool checkingIfExecutableExists_ = false;
    bool copyingCodeOver_ = false;
    bool compilingCode_ = false;
    bool checkingIfCompileWorked_ = false;
    bool uploadingTasks_ = false;
    bool submittingRun_ = false;
    bool checkingOutput_ = false;
    bool removingEverything_ = false;
    std::unique_ptr<platform::Timer> checkingTimer_;
    std::unique_ptr<platform::Timer> situationTimer_;
    std::unique_ptr<platform::Timer> wakeTimer_; // Lives as long as the other one.
    double secondsAsleep_ = 0;
    double minutesBetweenChecks_ = 0;
    double lookInterval_ = 0; // Seconds.
    double nextLook_ = 0; // On the monotonic clock.
    int numberOfLooks_ = 0;
    bool lastLookWasWhole_ = true;
    double lastContact_ = 0; // Seconds since 1970.
    std::optional<double> unknownSince_;
    // A step that ended without a callback.
    struct StuckStep {
        std::string words;
        bool SVTrelkindEngineLSF::*busyMark; // Stays set for good.
    };
    std::optional<StuckStep> stuckStep_;
    bool askingScheduler_ = false;
    std::set<int> goneRuns_; // The scheduler knew nothing of them at the last look.
    std::vector<std::string> remarks_;
};
