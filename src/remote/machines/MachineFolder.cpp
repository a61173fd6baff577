#include "remote/machines/MachineFolder.h"

#include "platform/ProcessInfo.h"
#include "platform/files/Paths.h"

namespace machinefolder {

namespace {

constexpr const char* kCacheFolder = "CachedExecutables";
constexpr LoginLimits kLimits{5000, 10000};

// The words of a failure.
std::optional<std::string> open(ssh::CkoSFtp& sftp, const SVSSHPasswordInfo& login)
{
    if (!login.connect(sftp, kLimits))
        return "Could not connect";
    if (login.authenticate(sftp))
        return "Could not log in";
    if (sftp.InitializeSftp())
        return std::nullopt;
    platform::systemLog(sftp.LastErrorText());
    return "Initialization failed";
}

bool exists(ssh::CkoSFtp& sftp, const std::string& path)
{
    return sftp.GetFilePermissions(path, false, false) >= 0;
}

} // namespace

std::string check(const SVSSHPasswordInfo& login, const std::string& workDirectory)
{
    ssh::CkoSFtp sftp;
    if (const auto failure = open(sftp, login))
        return *failure;
    if (!exists(sftp, workDirectory)) {
        if (!sftp.CreateDir(workDirectory))
            return "Could not create the working directory";
        sftp.CreateDir(platform::paths::appending(workDirectory, kCacheFolder));
    }
    return kWorked;
}

Listing list(const SVSSHPasswordInfo& login, const std::string& workDirectory)
{
    ssh::CkoSFtp sftp;
    if (auto failure = open(sftp, login))
        return {{}, std::move(failure)};
    if (!exists(sftp, workDirectory))
        return {};
    const auto handle = sftp.OpenDir(workDirectory);
    const auto directory = sftp.ReadDir(handle);
    if (!directory)
        return {{}, "Could not read directory"};
    Listing listing;
    for (int i = 0; i < directory->NumFilesAndDirs(); ++i) {
        std::string name = directory->GetFilename(i);
        auto date = directory->GetFileObject(i)->LastModifiedTime();
        if (!date) // A server may leave the dates out of a listing.
            date = sftp.GetFileLastModified(platform::paths::appending(workDirectory, name), false, false);
        if (date)
            listing.entries.push_back({std::move(name), *date});
    }
    if (handle)
        sftp.CloseHandle(*handle);
    return listing;
}

} // namespace machinefolder
