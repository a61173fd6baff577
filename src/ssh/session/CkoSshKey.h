#pragma once

#include <memory>
#include <optional>
#include <string>

namespace ssh {

class PrivateKey;

// A private key to log in with. One thread at a time; a loaded key can be used for many connections.
class CkoSshKey {
public:
    // Takes the whole text of a key file: the unencrypted PEM blocks "DSA PRIVATE KEY" and "RSA PRIVATE KEY",
    // and the unencrypted "OPENSSH PRIVATE KEY" with RSA, DSA, ECDSA and Ed25519 keys. False for null and for
    // text that isn't a usable key; the reason is in LastErrorText, and a key loaded before is gone.
    bool FromOpenSshPrivateKey(const std::optional<std::string>& keyStr);
    std::string LastErrorText() const { return lastError_; }

    std::shared_ptr<const PrivateKey> key() const { return key_; } // Null when none is loaded.

private:
    std::shared_ptr<const PrivateKey> key_;
    std::string lastError_;
};

} // namespace ssh
