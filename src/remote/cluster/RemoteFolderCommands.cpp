#include "remote/cluster/RemoteFolderCommands.h"

#include "platform/ProcessInfo.h"
#include "platform/files/Paths.h"

#include <fmt/format.h>

namespace {

using platform::paths::appending;

// Fixed, whatever the work folder of the machine: with another one the cache is written and never found.
constexpr const char* kCacheFolder = "TrelkindWorkDirectory/CachedExecutables";
constexpr std::int64_t kDigits = 32; // Of an MD5.

// Failed: it was sent, but told a failure, or the connection ended before it did.
enum class Sent { Yes, Failed, No, NoChannel };

// Runs a command to its end and drops what it prints.
Sent runToEnd(ssh::CkoSsh& connection, const std::string& command)
{
    const int channel = connection.OpenSessionChannel();
    if (channel < 0) {
        platform::systemLog(connection.LastErrorText());
        return Sent::NoChannel;
    }
    const bool sent = connection.SendReqExec(channel, command);
    if (!sent)
        platform::systemLog(connection.LastErrorText());
    connection.ChannelSendClose(channel);
    const bool ended = connection.ChannelReceiveToClose(channel);
    if (!sent)
        return Sent::No;
    return ended && connection.GetChannelExitStatus(channel) <= 0 ? Sent::Yes : Sent::Failed;
}

} // namespace

void SVCheckIfExecutableExist::main()
{
    {
        ssh::CkoSFtp sftp;
        error_ = authenticateFTP(sftp);
        if (!error_)
            evaluate(sftp);
    }
    callBack(callback_);
}

bool SVCheckIfExecutableExist::cacheHoldsIt(ssh::CkoSFtp& sftp, const std::string& cached)
{
    const auto handle = sftp.OpenFile(cached + ".md5", "readOnly", "openExisting");
    if (!handle)
        return false;
    // The file holds a line end behind the digits.
    const auto digits = sftp.ReadFileText(*handle, kDigits, "us-ascii");
    sftp.CloseHandle(*handle);
    return !md5ForExecutable_.empty() && digits == md5ForExecutable_;
}

void SVCheckIfExecutableExist::evaluate(ssh::CkoSFtp& sftp)
{
    const std::string cached = appending(kCacheFolder, executable_);
    if (!cacheHoldsIt(sftp, cached))
        return;
    ssh::CkoSsh connection;
    if ((error_ = authenticateSSH(connection)))
        return;
    const std::string command = fmt::format("cp {} {}/Executable/{}", cached, workingDirectory_, executable_);
    const Sent sent = runToEnd(connection, command);
    if (sent == Sent::NoChannel)
        error_ = "Could not open channel";
    else
        executableExists_ = true;
    hasFailed_ = sent == Sent::Failed;
}

void SVRemoveFolderOperation::main()
{
    {
        ssh::CkoSsh connection;
        error_ = authenticateSSH(connection);
        if (error_) {
            if (failed_)
                platform::MainLoop::main().postAndWait([this] { failed_(*error_); });
            return;
        }
        switch (runToEnd(connection, fmt::format("rm -r {}", folderName_))) {
        case Sent::NoChannel:
            error_ = "Could not open channel";
            break;
        case Sent::No:
            error_ = "Could not remove directory";
            break;
        case Sent::Failed:
            hasFailed_ = true;
            break;
        case Sent::Yes:
            break;
        }
    }
    callBack(callback_);
}
