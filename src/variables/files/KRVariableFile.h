#pragma once

#include "diagnostics/KRComputationalThread.h"
#include "diagnostics/KRProgressEntry.h"
#include "storage/KRDataFile.h"
#include "variables/files/KRDataFile_StorageNative.h"
#include "variables/graph/KRDependencyBase.h"
#include "variables/scan/KRVariableInformation.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

// What a variable file asks and tells its owner. Main thread unless a line says otherwise.
class KRVariableFileOwner {
public:
    virtual ~KRVariableFileOwner() = default;
    // Where the work on the file reports to; null for the shared center. Any thread.
    virtual std::shared_ptr<KRMessageCenter> messageController() { return nullptr; }
    virtual bool shouldSendChangeMessage() { return true; } // False holds changes back.
    virtual bool currentlyReading() { return false; } // A change now would be a fault.
    virtual void validityChanged() { }
    virtual void changesAreAgainAllowed() { }
};

// Keeps one data file open, with the variables that it announces, and takes in what a running program appends
// to it. Opening and updating happen on a worker; changes are told to the dependent objects on the main
// thread, and wait while a dependent object or the owner doesn't allow them. At most one opening or updating
// runs at a time: a further request is refused with a message and a sound, never queued. Work whose file has
// been closed in between has no effect.
//
// Functions without a remark belong to the main thread. Owned by shared pointers; work under way keeps the
// object alive.
class KRVariableFile final : public KRDependencyBase {
    struct Private { };

public:
    using Pointer = std::shared_ptr<KRVariableFile>;
    using Progress = std::shared_ptr<KRProgressEntry>;
    using Information = KRVariableInformation::Pointer;

    // The scan, without an object. They keep nothing and run on any thread, but one file must not be scanned
    // twice at the same time. Null for a null file; the array of times is never null.
    static Information computeInformationFromFile(
        const std::shared_ptr<KRDataStorage>& file, const Progress& progress = nullptr);
    static std::shared_ptr<KRDoubleArrayContainer> getTimeValuesFor(const std::string& name,
        KRDataStorage& insideFile, const Progress& progress = nullptr, float fractionStartsAt = 0,
        float whatFraction = 1);
    static std::int64_t countVariables(const std::optional<std::string>& name, KRDataStorage& inFile);
    static double timeStepForVariable(const std::string& name, KRDataStorage& inFile); // -1 for none.
    static std::string convertNumberToType(double code);

    static Pointer create();
    // A new object with the file on its way. The form without a progress entry marks its call by a message
    // without text.
    static Pointer openFileName(const std::optional<std::string>& path);
    static Pointer openFileName(const std::optional<std::string>& path, const Progress& progress);
    // What a refused request sounds like; silent until the start of a program sets it.
    static void setWarningSound(std::function<void()> sound);

    // Opens a file on a worker. A null path gives the present file up. The conversion isn't used.
    void openFile(const std::optional<std::string>& path, const Progress& progress = nullptr);
    void openFile(const std::optional<std::string>& path, const std::shared_ptr<void>& afterConversion,
        const Progress& progress = nullptr);
    // Takes a file that is open already; null gives the present one up.
    void setDataFile(const KRDataFile::Pointer& file);
    // Looks for new entries on a worker, and scans the file again when there are any.
    void updateFile();
    void closeTheFile();
    void deleteTheFile(); // Closes it and removes it from disk.
    // A change may be allowed now: lets one out that had to wait. Dependent objects call it through
    // allowsChangesAgain(); the owner calls it when it allows changes again or has finished reading.
    void changesMightBeAllowed() override;

    // Any thread. They wait while an opening scans the file.
    KRDataFile::Pointer dataFile() const;
    KRDataFile_StorageNative::Pointer dataStorage() const;
    std::optional<std::string> fileName() const;
    std::uint64_t fileSizeInBytes() const; // 0 during an opening.
    std::optional<std::vector<std::string>> variables() const; // Nothing without a file.
    Information information() const; // The scan as a whole; null without a file.
    std::shared_ptr<const KRVariableRecord> informationFor(const std::string& name) const; // Null for none.
    bool hasBeenOpened() const;
    // Any thread, without waiting.
    bool isValid() override; // An open file with a name, and no opening under way.
    bool currentlyOpening() const { return currentlyOpeningTheFile_; }
    bool currentlyUpdating() const { return updatingTheFile_; }

    // Without an owner nothing but the dependent objects holds changes back. Any thread.
    void setVariableBin(std::weak_ptr<KRVariableFileOwner> owner);
    std::shared_ptr<KRVariableFileOwner> variableBin() const; // Null for none, or when it has gone.

    explicit KRVariableFile(Private) { }

private:
    struct Job { // What a worker is asked for and gives back.
        std::uint64_t generation = 0;
        KRDataFile::Pointer file; // Null for an opening.
        std::string path;
        Progress progress;
        std::shared_ptr<ScanReports> reports;
        Information information;
    };
    using JobPointer = std::shared_ptr<Job>;

    // Worker.
    JobPointer openTheFile(JobPointer job);
    JobPointer setTheDataFile(JobPointer job);
    JobPointer updateTheFile(JobPointer job);

    // Main thread.
    void sendChangeMessage(JobPointer job);
    void updateEnded(JobPointer job);
    void startJob(JobPointer (KRVariableFile::*work)(JobPointer), KRDataFile::Pointer file,
        void (KRVariableFile::*ending)(JobPointer));
    bool refusesAnOpening() const;
    bool changeIsAllowed();
    bool ownerIsReading() const;
    void takeInformation(Information information);
    void giveUp();
    void tellValidity(bool before) const;
    void setFileInsideLock(KRDataFile::Pointer file);

    mutable std::mutex
        accessLock_; // Guards the fields below but the flags and what belongs to the main thread.
    std::optional<std::string> fileName_;
    KRDataFile::Pointer dataFile_;
    KRDataFile_StorageNative::Pointer dataStorage_;
    Information informationForVariables_;

    mutable std::mutex ownerLock_; // Apart from the other lock, which a scan holds for long.
    std::weak_ptr<KRVariableFileOwner> variableBin_;

    std::atomic<std::uint64_t> generation_ = 0; // Goes up with each file.
    std::atomic<bool> hasNamedFile_ = false;
    std::atomic<bool> currentlyOpeningTheFile_ = false;
    std::atomic<bool> updatingTheFile_ = false;

    bool settingTheFile_ = false; // Main thread, and all below.
    Progress progress_; // Of the opening under way.
    std::shared_ptr<ScanReports> reports_; // Of the present file.
    bool waitingToSendChangeMessage_ = false;
    Information waitingInformation_;
};
