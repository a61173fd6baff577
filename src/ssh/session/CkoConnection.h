#pragma once

#include "ssh/session/CkoSignIn.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ssh {

class ClsConnection;
class ForwardHost;
class SharedConnection;

// The operations that CkoSsh and CkoSFtp share. Every call blocks until it is done or its time limit has
// passed, and none throws. A failed call returns false, null or a negative number and leaves the reason in
// LastErrorText. An object is used by one thread at a time and for one connection: create, set options,
// connect, authenticate, work, disconnect, release. Objects on different threads never wait for each other.
class CkoConnection {
public:
    // Limit on name look-up, TCP connect and SSH handshake together; 30000 unless set.
    void setConnectTimeoutMs(int milliseconds);
    // Limit on the server's silence during a later call; 30000 unless set, 0 means six hours.
    void setIdleTimeoutMs(int milliseconds);

    // Asks a server that is silent after the login for an answer, which counts as life: a call then waits as
    // long as its command works. Off unless set.
    void setKeepAlive(bool on);

    // Limit on the server's silence while a person may have to approve a keyboard-interactive login, on a
    // telephone for instance. The idle limit unless it is longer.
    void setApprovalTimeoutMs(int milliseconds);

    // TCP connect and the SSH transport up to the user authentication stage. The host's key must be one that
    // the known hosts file has for it. A host that is met for the first time is trusted: its key is recorded,
    // which HostKeyIsNew and the log tell.
    bool Connect(const std::string& hostname, int port = 22);
    // The same through another server, which must be logged in and belongs to this connection from now on.
    bool ConnectThrough(std::unique_ptr<ForwardHost> jump, const std::string& hostname, int port = 22);
    // Uses a channel of a connection that others use too, in place of a connection of its own, and needs no
    // login. The server may refuse another channel; then, or when that connection has ended, it returns
    // false. The time limits count for this object alone.
    bool ConnectShared(std::shared_ptr<SharedConnection> connection);
    // Once for each connection: a login after a successful one fails. An empty password goes by the
    // keyboard-interactive method where the server offers it.
    bool AuthenticatePw(const std::string& login, const std::string& password);
    bool AuthenticatePk(const std::string& login, const CkoSshKey& privateKey);
    // Logs in with whatever the server asks for, one method after the other. When an answer is missing the
    // login fails, and Refusal tells what to ask a person; the next attempt needs a new connection.
    bool SignIn(const std::string& login, const CkoSignIn& with);
    CkoRefusal Refusal() const; // Of the last login on this connection.
    // Allowed at every stage. Destroying the object does the same.
    void Disconnect();

    std::string LastErrorText() const; // The reason of the last failure, for the log.
    std::string SessionLog() const; // The last few hundred events of the connection, a line each.
    std::string HostKeyFingerprint() const; // "SHA256:...", of the server's key.
    // Connect met the host for the first time: it recorded the key, or refused it because it wasn't trusted.
    bool HostKeyIsNew() const;
    // The agreed algorithms: key exchange, host key, then cipher, MAC and compression to the server and from
    // it.
    std::vector<std::string> Algorithms() const;
    bool ReKey(); // Exchanges new keys.

    // All of these before Connect.
    void setKnownHostsFile(const std::string& path); // `~/Library/Trelkind/known_hosts` unless set.
    // Whether a host that is met for the first time is trusted; on unless set. When it is off, a new host is
    // accepted only if its key has this fingerprint.
    void setTrustNewHosts(bool on, const std::string& exceptFingerprint = "");
    // The settled algorithms are those that this client has always offered, in the same order. Newer ones
    // come behind them, unless this is on; off unless set.
    void setSettledOnly(bool on);
    // Refuses what the settled lists still hold for old servers: a key exchange in a group of 1024 bits,
    // arcfour, MD5, and packets without a MAC. Off unless set; the log tells of a weak choice.
    void setRefuseWeak(bool on);
    void setCompression(bool on); // On unless set.
    void setCounterModes(bool on); // Offers the counter-mode ciphers; on unless set.
    void setForceCipher(const std::string& name); // Offers this cipher alone; empty for the whole list.
    void setClientIdentifier(const std::string& versionLine); // "SSH-2.0-" and a name.

protected:
    explicit CkoConnection(ClsConnection& connection) : connection_(connection) { }
    ~CkoConnection() = default;

private:
    ClsConnection& connection_;
};

} // namespace ssh
