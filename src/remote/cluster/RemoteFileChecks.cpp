#include "remote/cluster/RemoteFileChecks.h"

#include "platform/files/Paths.h"

namespace {

using platform::paths::appending;

// Whether the folder could be opened.
bool opens(ssh::CkoSFtp& sftp, const std::string& folder)
{
    const auto handle = sftp.OpenDir(folder);
    if (handle)
        sftp.CloseHandle(*handle);
    return handle.has_value();
}

} // namespace

void SVSCPCheckIfFilesExist::main()
{
    {
        ssh::CkoSFtp sftp;
        error_ = authenticateFTP(sftp);
        if (!error_)
            for (const std::string& name : fileList_)
                (isThere(sftp, appending(workDirectory_, name)) ? exist_ : dontExist_).push_back(name);
    }
    callBack(callback_);
}

void SVSCPCheckIfFileExist::main()
{
    {
        ssh::CkoSFtp sftp;
        error_ = authenticateFTP(sftp);
        exists_ = !error_ && isThere(sftp, fileName_);
    }
    callBack(callback_);
}

void SVCheckIfWorkFolderExists::main()
{
    {
        ssh::CkoSFtp sftp;
        error_ = authenticateFTP(sftp);
        if (!error_)
            makeFolders(sftp);
    }
    platform::MainLoop::main().post(
        [self = std::static_pointer_cast<SVCheckIfWorkFolderExists>(shared_from_this())] {
            if (self->callback_)
                self->callback_(*self);
        });
}

void SVCheckIfWorkFolderExists::makeFolders(ssh::CkoSFtp& sftp)
{
    if (!opens(sftp, folderName_)) {
        sftp.CreateDir(folderName_);
        if (!opens(sftp, folderName_)) {
            error_ = "Could not create the folder";
            return;
        }
    }
    for (const char* name : {"Executable", "Finished", "Started"})
        if (const std::string path = appending(folderName_, name); !opens(sftp, path))
            sftp.CreateDir(path);
}
