// The source strand of a batch: how its executable comes to the cluster.

#include "remote/cluster/BatchUpload.h"
#include "remote/cluster/JobScripts.h"
#include "remote/cluster/SVTrelkindEngineLSF.h"
#include "task/single/SVTaskController.h"

#include <fmt/format.h>

namespace {

using platform::paths::appending;

constexpr double kWhole = 100;

} // namespace

std::string SVTrelkindEngineLSF::executablePath() const
{
    return appending(remotePath("Executable"), programName());
}

void SVTrelkindEngineLSF::makeSureExecutableExists()
{
    if (checkingIfExecutableExists_ || copyingCodeOver_ || !isAttached()
        || !infoFile_.has(BatchFile::kWorkFolderExists))
        return;
    if (infoFile_.has(BatchFile::kExecutableExists))
        return continueStrands();
    checkingIfExecutableExists_ = true;
    panel_.sourceStatus.setStringValue("Checking if executable exists");
    addLong(std::make_shared<SVCheckIfExecutableExist>(passwordInfo(), programName(),
        taskController_->executableMD5().value_or(""), workDirectory(),
        callback(&SVTrelkindEngineLSF::linkCheckDone)));
}

void SVTrelkindEngineLSF::linkCheckDone(SVCheckIfExecutableExist& operation)
{
    checkingIfExecutableExists_ = false;
    if (operation.error()) {
        panel_.sourceStatus.setStringValue(*operation.error());
        panel_.checkAgainButton.setHidden(false);
    } else if (operation.executableExists() && !operation.hasFailed()) {
        panel_.sourceProgress.setDoubleValue(kWhole);
        executableExists();
    } else {
        uploadSources();
    }
    continueStrands();
}

void SVTrelkindEngineLSF::executableExists()
{
    panel_.sourceStatus.setStringValue("Executable exists");
    infoFile_.setFlag(BatchFile::kExecutableExists);
}

void SVTrelkindEngineLSF::tryRunningAgain()
{
    panel_.checkAgainButton.setHidden(true);
    makeSureExecutableExists();
}

void SVTrelkindEngineLSF::uploadSources()
{
    if (checkingIfExecutableExists_ || copyingCodeOver_ || !isAttached())
        return;
    if (infoFile_.has(BatchFile::kSourcesCopied))
        return compileExecutable();
    copyingCodeOver_ = true;
    const std::string project = taskController_->xCodeProject().value_or("");
    panel_.xCodeNameField.setStringValue(project);
    infoFile_.set(BatchFile::kNameOfExecutable, programName());
    panel_.sourceStatus.setStringValue("Copying source files");
    panel_.checkAgainButton.setHidden(true);
    const auto list = [project, folder = workDirectory(), program = programName(),
                          md5 = taskController_->executableMD5().value_or("")] {
        return batchupload::sources(batchupload::Kind::Batch, project, folder, program, md5);
    };
    addLong(std::make_shared<SVCopyUsingSCPFromLocal>(list, passwordInfo(),
        progressOf(&LsfAddition::sourceProgress), callback(&SVTrelkindEngineLSF::copyingSourcesFinished)));
}

void SVTrelkindEngineLSF::copyingSourcesFinished(SVCopyUsingSCPFromLocal& operation)
{
    copyingCodeOver_ = false;
    if (operation.error()) {
        panel_.sourceStatus.setStringValue(*operation.error());
        panel_.checkAgainButton.setHidden(false);
        return;
    }
    infoFile_.setFlag(BatchFile::kSourcesCopied);
    compileExecutable();
}

void SVTrelkindEngineLSF::compileExecutable()
{
    if (compilingCode_ || !isAttached())
        return;
    compilingCode_ = true;
    panel_.sourceStatus.setStringValue("Compiling");
    const auto self = std::static_pointer_cast<SVTrelkindEngineLSF>(shared_from_this());
    addLong(std::make_shared<SVSSHCommand>(
        fmt::format("source {}", appending(remotePath("Sources"), jobscripts::kCompileExecutable)),
        passwordInfo(), [self](const std::string& text) { self->panel_.makeOutputView.setString(text); },
        callback(&SVTrelkindEngineLSF::makeFinished),
        stuck("compilation", &SVTrelkindEngineLSF::compilingCode_)));
}

void SVTrelkindEngineLSF::makeFinished(SVSSHCommand&)
{
    compilingCode_ = false;
    makeSureCompilationWorked();
}

void SVTrelkindEngineLSF::makeSureCompilationWorked()
{
    if (checkingIfCompileWorked_ || !isAttached())
        return;
    checkingIfCompileWorked_ = true;
    panel_.sourceStatus.setStringValue("Checking if compilation worked");
    addShort(std::make_shared<SVSCPCheckIfFileExist>(
        passwordInfo(), executablePath(), callback(&SVTrelkindEngineLSF::finishedCheckingMake)));
}

void SVTrelkindEngineLSF::finishedCheckingMake(SVSCPCheckIfFileExist& operation)
{
    checkingIfCompileWorked_ = false;
    if (!operation.exists()) {
        panel_.sourceStatus.setStringValue("Compilation failed");
        panel_.checkAgainButton.setHidden(false);
        return;
    }
    executableExists();
    continueStrands();
}

void SVTrelkindEngineLSF::checkIfExecutableWorksAndRun(bool start)
{
    if (infoFile_.has(BatchFile::kExecutableExists)) {
        if (start && infoFile_.has(BatchFile::kTasksCopied))
            startRunningTasks();
        return;
    }
    addShort(std::make_shared<SVSCPCheckIfFilesExist>(
        std::vector{infoFile_.text(BatchFile::kNameOfExecutable).value_or("")}, passwordInfo(),
        remotePath("Executable"), callback(&SVTrelkindEngineLSF::filesThatExist), start ? "Run" : "Check"));
}

void SVTrelkindEngineLSF::filesThatExist(SVSCPCheckIfFilesExist& operation)
{
    const bool isRun = operation.argument() == "Run";
    if (!isRun && operation.argument() != "Check")
        return;
    if (operation.error()) {
        panel_.sourceStatus.setStringValue("Connection failed");
        panel_.checkAgainButton.setHidden(false);
    } else if (!operation.exist().empty()) {
        executableExists();
        panel_.checkAgainButton.setHidden(true);
    } else {
        panel_.sourceStatus.setStringValue("Compilation failed");
        panel_.checkAgainButton.setHidden(false);
        infoFile_.removeFlag(BatchFile::kExecutableExists);
    }
    panel_.checkOutputButton.setHidden(false);
    if (isRun && infoFile_.has(BatchFile::kExecutableExists) && infoFile_.has(BatchFile::kTasksCopied))
        startRunningTasks();
}
