#pragma once

#include "remote/cluster/ClusterOperation.h"

#include <string>

// Small operations that change folders on the cluster by a command.

// Copies the executable from the login's cache into the folder of a batch when the cache holds the one with
// this MD5.
class SVCheckIfExecutableExist : public ClusterOperation {
public:
    using Callback = std::function<void(SVCheckIfExecutableExist&)>;
    SVCheckIfExecutableExist(SVSSHPasswordInfo::Pointer initWithInfo, std::string executableName,
        std::string md5ForExecutable, std::string workDirectory, Callback callback)
        : ClusterOperation(std::move(initWithInfo)), executable_(std::move(executableName)),
          md5ForExecutable_(std::move(md5ForExecutable)), workingDirectory_(std::move(workDirectory)),
          callback_(std::move(callback))
    { }
    void main() override;
    bool executableExists() const { return executableExists_; }
    // The copy has failed, or its connection, so that what exists may be a part of the executable.
    bool hasFailed() const { return hasFailed_; }

private:
    void evaluate(ssh::CkoSFtp& sftp);
    bool cacheHoldsIt(ssh::CkoSFtp& sftp, const std::string& cached);

    const std::string executable_;
    const std::string md5ForExecutable_;
    const std::string workingDirectory_;
    const Callback callback_;
    bool executableExists_ = false;
    bool hasFailed_ = false;
};

// Removes the folder of a batch. A login that fails ends the operation without its callback.
class SVRemoveFolderOperation : public ClusterOperation {
public:
    using Callback = std::function<void(SVRemoveFolderOperation&)>;
    // Gets the reason when the operation ends without its callback. Main thread.
    using Failed = std::function<void(const std::string&)>;
    SVRemoveFolderOperation(
        SVSSHPasswordInfo::Pointer initWithInfo, std::string folderName, Callback callback, Failed failed)
        : ClusterOperation(std::move(initWithInfo)), folderName_(std::move(folderName)),
          callback_(std::move(callback)), failed_(std::move(failed))
    { }
    void main() override;
    // The removal was sent and has failed, or its connection, so that some of the folder may be left.
    bool hasFailed() const { return hasFailed_; }

private:
    const std::string folderName_;
    const Callback callback_;
    const Failed failed_;
    bool hasFailed_ = false;
};
