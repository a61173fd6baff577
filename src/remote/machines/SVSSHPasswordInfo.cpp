#include "remote/machines/SVSSHPasswordInfo.h"

#include "platform/ProcessInfo.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "platform/files/TildePaths.h"
#include "ssh/session/CkoSshKey.h"

#include <fmt/format.h>

namespace {

constexpr const char* kUsersKeyFile = "~/.ssh/id_dsa";
constexpr int kConnectLimitMs = 5000;
constexpr int kIdleLimitOfFilesMs = 10000;
constexpr int kIdleLimitOfCommandsMs = 5000;
constexpr std::uint64_t kLongestKeyFile = 1 << 20; // Bytes.

} // namespace

MachineAddress::Resolver& MachineAddress::resolver()
{
    static Resolver resolver;
    return resolver;
}

MachineAddress MachineAddress::of(const std::string& machineName, const MachineAccess& access)
{
    MachineAddress address = resolver() ? resolver()(machineName) : MachineAddress{machineName};
    if (access.port)
        address.port = *access.port;
    return address;
}

SVSSHPasswordInfo::Pointer SVSSHPasswordInfo::createWithHost(
    std::string host, std::string name, std::optional<std::string> password, MachineAccess access)
{
    std::shared_ptr<SVSSHPasswordInfo> info(new SVSSHPasswordInfo());
    info->hostName_ = std::move(host);
    info->userName_ = std::move(name);
    info->password_ = std::move(password);
    info->access_ = std::move(access);
    return info;
}

bool SVSSHPasswordInfo::connect(ssh::CkoConnection& connection, const LoginLimits& limits) const
{
    if (limits.connectMs)
        connection.setConnectTimeoutMs(*limits.connectMs);
    connection.setIdleTimeoutMs(limits.idleMs);
    connection.setKeepAlive(true);
    connection.setRefuseWeak(!access_.allowsOldAlgorithms);
    const MachineAddress address = MachineAddress::of(hostName_, access_);
    if (connection.Connect(address.host, address.port))
        return true;
    platform::systemLog(connection.LastErrorText());
    return false;
}

std::optional<std::string> SVSSHPasswordInfo::authenticate(ssh::CkoConnection& connection) const
{
    const bool byPassword = password_ && !access_.keyFile;
    ssh::CkoSshKey key;
    if (!byPassword) {
        const auto text = platform::files::readFile(
            platform::paths::expandingTilde(access_.keyFile.value_or(kUsersKeyFile)), kLongestKeyFile);
        if (!text || !key.FromOpenSshPrivateKey(*text)) {
            platform::systemLog(text ? key.LastErrorText() : text.error().text);
            return "Could not read the private key";
        }
    }
    if (byPassword ? connection.AuthenticatePw(userName_, *password_)
                   : connection.AuthenticatePk(userName_, key))
        return std::nullopt;
    platform::systemLog(connection.LastErrorText());
    return fmt::format("Could not connect as user {}", userName_);
}

std::optional<std::string> SVSSHPasswordInfo::logIn(
    ssh::CkoConnection& connection, const LoginLimits& limits) const
{
    if (!connect(connection, limits))
        return fmt::format("Could not connect to {}", hostName_);
    return authenticate(connection);
}

std::optional<std::string> SVSSHPasswordInfo::authenticateFTP(ssh::CkoSFtp& connection) const
{
    auto failure = logIn(connection, {kConnectLimitMs, kIdleLimitOfFilesMs});
    if (!failure && !connection.InitializeSftp())
        failure = "Initialization failed";
    return failure;
}

std::optional<std::string> SVSSHPasswordInfo::authenticateSSH(ssh::CkoSsh& connection) const
{
    return logIn(connection, {kConnectLimitMs, kIdleLimitOfCommandsMs});
}
