#pragma once

#include "ssh/crypto/Bytes.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ssh {

class SigningKey;

// A private key to log in with. One thread at a time; a loaded key can be used for many connections.
class CkoSshKey {
public:
    // For the next key, when it is encrypted. None unless set.
    void setPassphrase(const std::string& passphrase) { passphrase_ = copyOf(viewOf(passphrase)); }
    // Takes the whole text of a key file: the PEM blocks "DSA PRIVATE KEY" and "RSA PRIVATE KEY", and the
    // "OPENSSH PRIVATE KEY" with RSA, DSA, ECDSA and Ed25519 keys. False for null and for text that isn't a
    // usable key; the reason is in LastErrorText, and a key loaded before is gone. An encrypted key may take
    // a second to open.
    bool FromOpenSshPrivateKey(const std::optional<std::string>& keyStr);
    // Whether the last text was an encrypted key that the passphrase didn't open.
    bool NeedsPassphrase() const { return needsPassphrase_; }
    std::string LastErrorText() const { return lastError_; }

    // The keys that an agent offers; see sshagent. They are used like loaded ones.
    static platform::Result<std::vector<CkoSshKey>> KeysOfAgent(const std::string& socketPath);

    std::shared_ptr<const SigningKey> key() const { return key_; } // Null when none is loaded.

private:
    std::shared_ptr<const SigningKey> key_;
    Bytes passphrase_;
    bool needsPassphrase_ = false;
    std::string lastError_;
};

} // namespace ssh
