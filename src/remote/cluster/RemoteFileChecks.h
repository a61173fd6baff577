#pragma once

#include "remote/cluster/ClusterOperation.h"

#include <string>
#include <vector>

// Small operations that look at the cluster's files over SFTP.

// Which of the named files of a folder exist.
class SVSCPCheckIfFilesExist : public ClusterOperation {
public:
    // `filesThatExist:dontExist:workDirectory:argument:task:` of the object that made it.
    using Callback = std::function<void(SVSCPCheckIfFilesExist&)>;
    SVSCPCheckIfFilesExist(std::vector<std::string> createWithFiles, SVSSHPasswordInfo::Pointer access,
        std::string directory, Callback callback, std::string argument)
        : ClusterOperation(std::move(access)), fileList_(std::move(createWithFiles)),
          workDirectory_(std::move(directory)), argument_(std::move(argument)), callback_(std::move(callback))
    { }
    void main() override;

    const std::vector<std::string>& exist() const { return exist_; }
    const std::vector<std::string>& dontExist() const { return dontExist_; }
    const std::string& workDirectory() const { return workDirectory_; }
    const std::string& argument() const { return argument_; } // Of the caller, handed back.

private:
    const std::vector<std::string> fileList_;
    const std::string workDirectory_;
    const std::string argument_;
    const Callback callback_;
    std::vector<std::string> exist_;
    std::vector<std::string> dontExist_;
};

// Whether one file exists. A login that fails gives false as well, with the error.
class SVSCPCheckIfFileExist : public ClusterOperation {
public:
    using Callback = std::function<void(SVSCPCheckIfFileExist&)>;
    SVSCPCheckIfFileExist(SVSSHPasswordInfo::Pointer initWithInfo, std::string fileName, Callback callback)
        : ClusterOperation(std::move(initWithInfo)), fileName_(std::move(fileName)),
          callback_(std::move(callback))
    { }
    void main() override;
    bool exists() const { return exists_; }

private:
    const std::string fileName_;
    const Callback callback_;
    bool exists_ = false;
};

// Makes sure of the folder of a batch, with the three folders in it. Its parent must exist.
class SVCheckIfWorkFolderExists : public ClusterOperation {
public:
    using Callback = std::function<void(SVCheckIfWorkFolderExists&)>;
    SVCheckIfWorkFolderExists(
        SVSSHPasswordInfo::Pointer initWithInfo, std::string workDirectory, Callback callback)
        : ClusterOperation(std::move(initWithInfo)), folderName_(std::move(workDirectory)),
          callback_(std::move(callback))
    { }
    void main() override;

private:
    void makeFolders(ssh::CkoSFtp& sftp);
    const std::string folderName_;
    const Callback callback_;
};
