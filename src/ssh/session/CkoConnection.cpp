#include "ssh/session/CkoConnection.h"

#include "ssh/session/ClsConnection.h"
#include "ssh/session/ForwardHost.h"

namespace ssh {

void CkoConnection::setConnectTimeoutMs(int milliseconds)
{
    connection_.configure(
        [&](TransportSettings& s) { s.connectLimit = std::chrono::milliseconds(milliseconds); });
}

void CkoConnection::setIdleTimeoutMs(int milliseconds)
{
    connection_.configure(
        [&](TransportSettings& s) { s.idleLimit = std::chrono::milliseconds(milliseconds); });
}

bool CkoConnection::Connect(const std::string& hostname, int port)
{
    return connection_.connect(hostname, port);
}

bool CkoConnection::ConnectThrough(std::unique_ptr<ForwardHost> jump, const std::string& hostname, int port)
{
    return connection_.connectThrough(std::move(jump), hostname, port);
}

bool CkoConnection::ConnectShared(std::shared_ptr<SharedConnection> connection)
{
    return connection_.connectShared(std::move(connection));
}

bool CkoConnection::AuthenticatePw(const std::string& login, const std::string& password)
{
    return connection_.authenticatePw(login, password);
}

bool CkoConnection::AuthenticatePk(const std::string& login, const CkoSshKey& privateKey)
{
    return connection_.authenticatePk(login, privateKey);
}

bool CkoConnection::SignIn(const std::string& login, const CkoSignIn& with)
{
    return connection_.signIn(login, with);
}

CkoRefusal CkoConnection::Refusal() const
{
    return connection_.refusal();
}

void CkoConnection::setApprovalTimeoutMs(int milliseconds)
{
    connection_.configure(
        [&](TransportSettings& s) { s.approvalLimit = std::chrono::milliseconds(milliseconds); });
}

void CkoConnection::Disconnect()
{
    connection_.disconnect();
}
std::string CkoConnection::LastErrorText() const
{
    return connection_.lastErrorText();
}
std::string CkoConnection::SessionLog() const
{
    return connection_.sessionLog();
}
std::string CkoConnection::HostKeyFingerprint() const
{
    return connection_.hostKeyFingerprint();
}
bool CkoConnection::HostKeyIsNew() const
{
    return connection_.hostKeyIsNew();
}
std::vector<std::string> CkoConnection::Algorithms() const
{
    return connection_.algorithms();
}
bool CkoConnection::ReKey()
{
    return connection_.reKey();
}

void CkoConnection::setKnownHostsFile(const std::string& path)
{
    connection_.configure([&](TransportSettings& s) { s.knownHosts = path; });
}

void CkoConnection::setTrustNewHosts(bool on, const std::string& exceptFingerprint)
{
    connection_.configure([&](TransportSettings& s) {
        s.trustsNewHosts = on;
        s.trustedFingerprint = exceptFingerprint;
    });
}

void CkoConnection::setSettledOnly(bool on)
{
    connection_.configure([&](TransportSettings& s) { s.algorithms.settledOnly = on; });
}

void CkoConnection::setRefuseWeak(bool on)
{
    connection_.configure([&](TransportSettings& s) { s.algorithms.refuseWeak = on; });
}

void CkoConnection::setKeepAlive(bool on)
{
    connection_.configure([&](TransportSettings& s) { s.keepAlive = on; });
}

void CkoConnection::setCompression(bool on)
{
    connection_.configure([&](TransportSettings& s) { s.algorithms.compression = on; });
}

void CkoConnection::setCounterModes(bool on)
{
    connection_.configure([&](TransportSettings& s) { s.algorithms.counterModes = on; });
}

void CkoConnection::setForceCipher(const std::string& name)
{
    connection_.configure([&](TransportSettings& s) { s.algorithms.forceCipher = name; });
}

void CkoConnection::setClientIdentifier(const std::string& versionLine)
{
    connection_.configure([&](TransportSettings& s) { s.clientVersion = versionLine; });
}

} // namespace ssh
