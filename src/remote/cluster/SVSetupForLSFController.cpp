#include "remote/cluster/SVSetupForLSFController.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/ProcessInfo.h"
#include "platform/files/Paths.h"
#include "remote/cluster/BatchUpload.h"
#include "remote/cluster/JobScripts.h"
#include "remote/machines/ClusterNames.h"
#include "task/application/KRTrelkindApplication.h"
#include "task/single/SVSingleTask.h"
#include "task/single/SVTaskController.h"

#include <fmt/format.h>

namespace {

using platform::paths::appending;

void add(std::shared_ptr<platform::Operation> operation)
{
    if (auto* app = KRTrelkindApplication::app())
        app->copyingFilesOnLocalMachine().addOperation(std::move(operation));
}

} // namespace

SVSetupForLSFController::SetupWindow::SetupWindow()
{
    for (toolkit::View* part : std::initializer_list<toolkit::View*>{
             &sourceStatus, &sourceProgress, &makeOutputView, &inputStatus, &taskProgress})
        view.addSubview(*part);
}

std::shared_ptr<SVSetupForLSFController> SVSetupForLSFController::newForTask(
    SVTaskController& task, std::shared_ptr<KRTrelkindMachineLSF> forMachine)
{
    return std::shared_ptr<SVSetupForLSFController>(new SVSetupForLSFController(task, std::move(forMachine)));
}

SVSetupForLSFController::SVSetupForLSFController(
    SVTaskController& task, std::shared_ptr<KRTrelkindMachineLSF> machine)
    : task_(task), machine_(std::move(machine)), infoFile_(task.wrapperName())
{
    setLayout("LSF setup window");
    setTitle(machine_->machineDescription());
    setContent(&parts_.view);
}

std::string SVSetupForLSFController::programName() const
{
    return clusternames::program(task_.executable());
}

std::string SVSetupForLSFController::workDirectory() const
{
    return appending(machine_->workDirectory(), infoFile_.text(BatchFile::kUuid).value_or(""));
}

void SVSetupForLSFController::start()
{
    infoFile_.load();
    if (const auto host = infoFile_.text(BatchFile::kHost); host != machine_->machineName()) {
        if (host)
            KRMessageCenter::addMessage("Should remove the information from the old host");
        infoFile_.clear();
        infoFile_.set(BatchFile::kHost, machine_->machineName());
    }
    if (!infoFile_.has(BatchFile::kUuid))
        infoFile_.set(BatchFile::kUuid, platform::makeUuid());
    for (const platform::Status& status :
        {infoFile_.check(), clusternames::checkWorkFolder(machine_->workDirectory()),
            clusternames::checkProgram(programName())})
        if (!status.ok())
            return KRMessageCenter::addMessage(
                "The batch can not be set up on the cluster.", status.error().text);
    if (!infoFile_.saveIfChanged().ok())
        return;
    uploadSources();
    uploadTasks();
}

SVCopyUsingSCPFromLocal::Progress SVSetupForLSFController::progressOf(toolkit::ProgressBar SetupWindow::*bar)
{
    return [window = weak_from_this(), bar](double growth) {
        if (const auto self = window.lock()) {
            toolkit::ProgressBar& progress = self->parts_.*bar;
            progress.setDoubleValue(progress.doubleValue() + growth);
        }
    };
}

void SVSetupForLSFController::uploadSources()
{
    infoFile_.set(BatchFile::kNameOfExecutable, programName());
    parts_.sourceStatus.setStringValue("Copying source files");
    add(std::make_shared<SVCopyUsingSCPFromLocal>(
        [project = task_.xCodeProject().value_or(""), folder = workDirectory(), program = programName()] {
            return batchupload::sources(batchupload::Kind::SetUp, project, folder, program, "");
        },
        machine_->passwordInfo(), progressOf(&SetupWindow::sourceProgress),
        callback(&SVSetupForLSFController::copyingSourcesFinished)));
}

void SVSetupForLSFController::copyingSourcesFinished(SVCopyUsingSCPFromLocal& operation)
{
    if (operation.error())
        return parts_.sourceStatus.setStringValue(*operation.error());
    infoFile_.setFlag(BatchFile::kSourcesCopied);
    const std::string script =
        appending(appending(workDirectory(), "Sources"), jobscripts::kCompileExecutable);
    add(std::make_shared<SVSSHCommand>(
        fmt::format("source {}", script), machine_->passwordInfo(),
        [window = weak_from_this()](const std::string& text) {
            if (const auto self = window.lock())
                self->parts_.makeOutputView.setString(text);
        },
        callback(&SVSetupForLSFController::makeFinished), nullptr));
}

void SVSetupForLSFController::uploadTasks()
{
    std::vector<int> runs;
    for (const auto& task : task_.taskInformation())
        if (task->taskShouldBeRun())
            runs.push_back(task->numberInProject());
    parts_.inputStatus.setStringValue("Copying input");
    add(std::make_shared<SVCopyUsingSCPFromLocal>(
        [runs = std::move(runs), wrapper = task_.wrapperName(), folder = machine_->workDirectory(),
            batch = infoFile_.text(BatchFile::kUuid).value_or(""), program = programName()] {
            return batchupload::input(batchupload::Kind::SetUp, wrapper, folder, batch, program, runs);
        },
        machine_->passwordInfo(), progressOf(&SetupWindow::taskProgress),
        callback(&SVSetupForLSFController::copyingTasksFinished)));
}

void SVSetupForLSFController::copyingTasksFinished(SVCopyUsingSCPFromLocal& operation)
{
    if (operation.error())
        return parts_.inputStatus.setStringValue(*operation.error());
    infoFile_.setFlag(BatchFile::kTasksCopied);
    parts_.inputStatus.setStringValue("Input tasks uploaded");
}
