#include "variables/files/KRVariableFile.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "temporary/KRContainerFileName.h"
#include "variables/scan/ScanProgress.h"
#include "variables/scan/StoredTimes.h"
#include "variables/structures/StoredWords.h"
#include "variables/structures/TypeCodes.h"

#include <utility>

namespace {

std::function<void()>& warningSound()
{
    static std::function<void()> sound;
    return sound;
}

void refuse(const char* reason)
{
    KRMessageCenter::addMessage(reason);
    if (warningSound())
        warningSound()();
}

// The entry of the work, named by its present step; made where there is none.
std::shared_ptr<KRProgressEntry> progressFor(
    std::shared_ptr<KRProgressEntry> progress, const std::string& step)
{
    if (!progress)
        return KRProgressEntry::createWithDescription(step);
    variables::describe(*progress, step);
    return progress;
}

// A native file and its index are one container.
std::shared_ptr<KRContainerFileName> containerOf(const std::string& path)
{
    return platform::paths::lowercaseExtension(path) == "svdata"
        ? KRContainerFileName::createWithName(path)
        : KRContainerFileName::createWithName(path, {"index"});
}

} // namespace

// Without an object.

KRVariableFile::Information KRVariableFile::computeInformationFromFile(
    const std::shared_ptr<KRDataStorage>& file, const Progress& progress)
{
    return KRVariableInformation::computeInformationFromFile(file, progress);
}

std::shared_ptr<KRDoubleArrayContainer> KRVariableFile::getTimeValuesFor(const std::string& name,
    KRDataStorage& insideFile, const Progress& progress, float fractionStartsAt, float whatFraction)
{
    ScanReports reports;
    return StoredTimes(insideFile, progress, reports)
        .timesOf(name, timeStepForVariable(name, insideFile), fractionStartsAt, whatFraction)
        .asArray();
}

std::int64_t KRVariableFile::countVariables(const std::optional<std::string>& name, KRDataStorage& inFile)
{
    if (!name) {
        KRMessageCenter::addMessage("Internal error: Passing in nil as the basename.");
        return 0;
    }
    ScanReports reports;
    return StoredTimes(inFile, nullptr, reports).countVariables(*name);
}

double KRVariableFile::timeStepForVariable(const std::string& name, KRDataStorage& inFile)
{
    return variables::readAnnouncement(inFile, name).timeStep;
}

std::string KRVariableFile::convertNumberToType(double code)
{
    return variables::typeForCode(code);
}

void KRVariableFile::setWarningSound(std::function<void()> sound)
{
    warningSound() = std::move(sound);
}

KRVariableFile::Pointer KRVariableFile::create()
{
    return std::make_shared<KRVariableFile>(Private());
}

KRVariableFile::Pointer KRVariableFile::openFileName(const std::optional<std::string>& path)
{
    KRMessageCenter::addMessage(nullptr);
    return openFileName(path, nullptr);
}

KRVariableFile::Pointer KRVariableFile::openFileName(
    const std::optional<std::string>& path, const Progress& progress)
{
    Pointer file = create();
    file->openFile(path, progress);
    return file;
}

// Opening.

bool KRVariableFile::refusesAnOpening() const
{
    if (updatingTheFile_)
        refuse("Currently updating the file, can't open a new one right now.");
    else if (currentlyOpeningTheFile_ || settingTheFile_)
        refuse("already opening a file");
    return updatingTheFile_ || currentlyOpeningTheFile_ || settingTheFile_;
}

void KRVariableFile::openFile(const std::optional<std::string>& path, const Progress& progress)
{
    openFile(path, nullptr, progress);
}

void KRVariableFile::openFile(
    const std::optional<std::string>& path, const std::shared_ptr<void>&, const Progress& progress)
{
    if (refusesAnOpening())
        return;
    const bool wasValid = isValid();
    if (progress_)
        KRMessageCenter::addMessage(nullptr);
    if (!path) {
        giveUp();
        sendChangeMessage(nullptr);
        tellValidity(wasValid);
        return;
    }
    {
        const std::lock_guard lock(accessLock_);
        fileName_ = path;
        currentlyOpeningTheFile_ = true;
    }
    ++generation_;
    progress_ = progress;
    reports_ = std::make_shared<ScanReports>();
    tellValidity(wasValid);
    startJob(&KRVariableFile::openTheFile, nullptr, &KRVariableFile::sendChangeMessage);
}

void KRVariableFile::startJob(JobPointer (KRVariableFile::*work)(JobPointer), KRDataFile::Pointer file,
    void (KRVariableFile::*ending)(JobPointer))
{
    const auto job = std::make_shared<Job>();
    job->generation = generation_;
    job->file = std::move(file);
    job->path = fileName().value_or("");
    job->progress = progress_;
    job->reports = reports_;
    KRComputationalThread::forObject(
        std::static_pointer_cast<KRVariableFile>(shared_from_this()), work, job, ending);
}

KRVariableFile::JobPointer KRVariableFile::openTheFile(JobPointer job)
{
    const std::string name = platform::paths::lastComponent(job->path);
    const Progress progress = progressFor(job->progress, "Opening the file " + name);
    // Showing a file must not make one.
    const auto file = platform::files::exists(job->path)
        ? KRDataFile::openFileContainer(containerOf(job->path), KRProgressCPP(progress))
        : nullptr;

    const std::lock_guard lock(accessLock_); // Who asks for the variables now gets the new ones.
    if (job->generation != generation_)
        return job; // Closed in between.
    variables::describe(*progress, "Reading content of file " + name);
    informationForVariables_ =
        KRVariableInformation::computeInformationFromFile(file, progress, job->reports.get());
    setFileInsideLock(file);
    dataStorage_ = file ? KRDataFile_StorageNative::createWithFile(file, informationForVariables_) : nullptr;
    return job;
}

void KRVariableFile::setFileInsideLock(KRDataFile::Pointer file)
{
    dataFile_ = std::move(file);
    hasNamedFile_ = dataFile_ && fileName_ && !fileName_->empty();
}

void KRVariableFile::setDataFile(const KRDataFile::Pointer& file)
{
    if (refusesAnOpening())
        return;
    const bool wasValid = isValid();
    if (!file) {
        giveUp();
        sendChangeMessage(nullptr);
        tellValidity(wasValid);
        return;
    }
    {
        const std::lock_guard lock(accessLock_);
        fileName_ = file->fileName();
        setFileInsideLock(file);
        informationForVariables_ = nullptr;
        dataStorage_ = KRDataFile_StorageNative::createWithFile(file, Information());
    }
    ++generation_;
    settingTheFile_ = true;
    reports_ = std::make_shared<ScanReports>();
    tellValidity(wasValid);
    startJob(&KRVariableFile::setTheDataFile, file, &KRVariableFile::sendChangeMessage);
}

KRVariableFile::JobPointer KRVariableFile::setTheDataFile(JobPointer job)
{
    const std::lock_guard lock(accessLock_);
    if (job->generation != generation_)
        return job;
    informationForVariables_ =
        KRVariableInformation::computeInformationFromFile(job->file, job->progress, job->reports.get());
    dataStorage_->renew(informationForVariables_);
    return job;
}

bool KRVariableFile::ownerIsReading() const
{
    const auto owner = variableBin();
    return owner && owner->currentlyReading();
}

bool KRVariableFile::changeIsAllowed()
{
    const auto owner = variableBin();
    return allowChange() && (!owner || owner->shouldSendChangeMessage());
}

void KRVariableFile::tellValidity(bool before) const
{
    if (const auto owner = variableBin(); owner && before != (!currentlyOpeningTheFile_ && hasNamedFile_))
        owner->validityChanged();
}

void KRVariableFile::sendChangeMessage(JobPointer job)
{
    const bool wasValid = isValid();
    if (!job && currentlyOpeningTheFile_) { // The work failed: nothing of the former file may stay.
        const std::lock_guard lock(accessLock_);
        setFileInsideLock(nullptr);
        dataStorage_ = nullptr;
        informationForVariables_ = nullptr;
    }
    currentlyOpeningTheFile_ = false;
    settingTheFile_ = false;
    if (std::exchange(waitingInformation_, nullptr))
        KRMessageCenter::addMessage("Internal error: Unexpected state");
    waitingToSendChangeMessage_ = true;
    changesMightBeAllowed();
    tellValidity(wasValid);
    progress_ = nullptr;
    if (const auto owner = variableBin())
        owner->changesAreAgainAllowed();
}

// Updating.

void KRVariableFile::updateFile()
{
    if (updatingTheFile_) {
        refuse("Still updating the file.");
        return;
    }
    if (currentlyOpeningTheFile_ || settingTheFile_) {
        refuse("Currently opening a file, can't update it.");
        return;
    }
    const auto file = dataFile();
    if (!file) {
        refuse("No data file to update.");
        return;
    }
    updatingTheFile_ = true;
    startJob(&KRVariableFile::updateTheFile, file, &KRVariableFile::updateEnded);
}

KRVariableFile::JobPointer KRVariableFile::updateTheFile(JobPointer job)
{
    const Progress progress =
        progressFor(job->progress, "Updating the file " + platform::paths::lastComponent(job->path));
    if (job->file->updateFile() >= 1)
        job->information =
            KRVariableInformation::computeInformationFromFile(job->file, progress, job->reports.get());
    return job;
}

void KRVariableFile::updateEnded(JobPointer job)
{
    updatingTheFile_ = false;
    if (!job || !job->information || job->generation != generation_)
        return;
    if (changeIsAllowed()) {
        waitingToSendChangeMessage_ = false; // This change tells of everything that had to wait.
        waitingInformation_ = nullptr;
        takeInformation(job->information);
        thisControllerChangedFor(KRDependencyTimeChange::changeEverything());
    } else {
        waitingInformation_ = job->information;
        waitingToSendChangeMessage_ = true;
    }
}

void KRVariableFile::takeInformation(Information information)
{
    KRDataFile_StorageNative::Pointer storage;
    {
        const std::lock_guard lock(accessLock_);
        informationForVariables_ = information;
        storage = dataStorage_;
    }
    if (storage)
        storage->renew(std::move(information));
}

void KRVariableFile::changesMightBeAllowed()
{
    // What waits while a file is being opened belongs to the one before.
    if (currentlyOpeningTheFile_ || settingTheFile_ || !waitingToSendChangeMessage_ || !changeIsAllowed())
        return;
    if (ownerIsReading()) {
        KRMessageCenter::addMessage(nullptr);
        return;
    }
    waitingToSendChangeMessage_ = false;
    if (waitingInformation_)
        takeInformation(std::exchange(waitingInformation_, nullptr));
    thisControllerChangedFor(KRDependencyTimeChange::changeEverything());
}

// Closing.

void KRVariableFile::giveUp()
{
    ++generation_;
    progress_ = nullptr;
    const std::lock_guard lock(accessLock_);
    fileName_ = std::nullopt;
    setFileInsideLock(nullptr);
    dataStorage_ = nullptr;
    informationForVariables_ = nullptr;
}

void KRVariableFile::closeTheFile()
{
    const bool wasValid = isValid();
    giveUp();
    waitingInformation_ = nullptr;
    tellValidity(wasValid);
}

void KRVariableFile::deleteTheFile()
{
    const bool wasValid = isValid();
    if (const auto file = dataFile())
        file->deleteFileFromDisk();
    giveUp();
    waitingInformation_ = nullptr;
    tellValidity(wasValid);
}

// Asking.

bool KRVariableFile::isValid()
{
    return !currentlyOpeningTheFile_ && hasNamedFile_;
}

KRDataFile::Pointer KRVariableFile::dataFile() const
{
    const std::lock_guard lock(accessLock_);
    return dataFile_;
}

KRDataFile_StorageNative::Pointer KRVariableFile::dataStorage() const
{
    const std::lock_guard lock(accessLock_);
    return dataStorage_;
}

std::optional<std::string> KRVariableFile::fileName() const
{
    const std::lock_guard lock(accessLock_);
    return fileName_;
}

std::uint64_t KRVariableFile::fileSizeInBytes() const
{
    const std::lock_guard lock(accessLock_);
    return dataFile_ && !currentlyOpeningTheFile_ ? dataFile_->fileSizeInBytes() : 0;
}

KRVariableFile::Information KRVariableFile::information() const
{
    const std::lock_guard lock(accessLock_);
    return informationForVariables_;
}

std::optional<std::vector<std::string>> KRVariableFile::variables() const
{
    const auto all = information();
    if (!all)
        return std::nullopt;
    std::vector<std::string> names;
    for (const auto& record : all->records())
        names.push_back(record.name());
    return names;
}

std::shared_ptr<const KRVariableRecord> KRVariableFile::informationFor(const std::string& name) const
{
    const auto all = information();
    const auto* const record = all ? all->informationFor(name) : nullptr;
    return record ? std::shared_ptr<const KRVariableRecord>(all, record) : nullptr;
}

bool KRVariableFile::hasBeenOpened() const
{
    return dataFile() != nullptr;
}

void KRVariableFile::setVariableBin(std::weak_ptr<KRVariableFileOwner> owner)
{
    const std::lock_guard lock(ownerLock_);
    variableBin_ = std::move(owner);
}

std::shared_ptr<KRVariableFileOwner> KRVariableFile::variableBin() const
{
    const std::lock_guard lock(ownerLock_);
    return variableBin_.lock();
}
