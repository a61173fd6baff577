#pragma once

#include "platform/Loopback.h"
#include "platform/TemporaryFolder.h"
#include "ssh/session/CkoSsh.h"

#include <memory>
#include <string>
#include <vector>

namespace support {

using ::listenOnLoopback;
using ::loopback;
using ::TemporaryFolder;

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& content);
std::string randomText(std::size_t size); // The same bytes each time.

int run(const std::vector<std::string>& arguments); // A program with its output dropped; its exit status.
// The text of a new private key of a type such as "ssh-rsa" or "ecdsa-sha2-nistp384". With `pem`, in the
// older form. The public part goes to `publicLine`.
std::string makeKeyText(const std::string& type, bool pem = false, std::string* publicLine = nullptr);

// Runs a command to its end; its output, or the reason why not, with the exit status untouched.
std::string runCommand(ssh::CkoSsh& ssh, const std::string& command, int* status = nullptr);

// A server program on a free port of the loopback, ended with the object. `pam` takes the place of
// its list of modules. Where this process may mount, the
// server sees an account file in which this login's password is kPassword, a home folder of its own with the
// authorized keys in it, and a /bin/sh that takes ">&"; the machine's own stay as they are.
class RealServer {
public:
    static constexpr const char* kPassword = "secret";
    static std::unique_ptr<RealServer> openSsh(const std::string& authorizedKeys,
        const std::string& extraConfiguration = "", const std::string& pam = "");
    static std::unique_ptr<RealServer> dropbear(const std::string& authorizedKeys);
    ~RealServer();
    int port() const { return port_; }
    void endConnections() const; // Kills the processes that serve them.
    bool ownAccount() const { return ownAccount_; } // Whether password and home are the test's.
    std::string home() const { return folder_ / "home"; } // The login's, with its own account.

private:
    bool start(
        std::vector<std::string> arguments, const std::string& authorizedKeys, const std::string& pam = "");
    TemporaryFolder folder_;
    bool ownAccount_ = false;
    int port_ = 0;
    int pid_ = -1;
};

} // namespace support
