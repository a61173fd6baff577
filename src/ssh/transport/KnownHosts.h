#pragma once

#include "ssh/crypto/PublicKey.h"

#include <string>
#include <vector>

namespace ssh {

// The file that records the keys of hosts, in OpenSSH's form: names in the clear, with wildcards, as
// "[host]:port", or hashed as "|1|salt|hash"; "@revoked" lines forbid a key. Any thread, and several
// processes at once: the file is locked while a key is added.
class KnownHosts {
public:
    explicit KnownHosts(std::string path) : path_(std::move(path)) { }
    static std::string defaultPath(); // The user's own file.

    // The key types recorded for a host. Empty when the file is missing or unreadable.
    std::vector<std::string> keyTypes(const std::string& host, int port) const;

    // Compares the key with those recorded for the host. A host without any is met for the first time: its
    // key is recorded (folder with mode 0700, file 0600) if it may be. Fails for a host that is known under
    // other keys, of whatever type, and when the key can't be compared or recorded; the text tells a person
    // what to do.
    enum class Meeting { Known, First, FirstUnrecorded };
    Result<Meeting> accept(
        const std::string& host, int port, const PublicKey& key, bool mayRecord = true) const;

private:
    std::string path_;
};

// What the text of a known hosts file says about a host.
struct HostRecord {
    enum class Verdict { Unknown, Known, Changed, Revoked };
    Verdict verdict = Verdict::Unknown;
    std::size_t line = 0; // Number of the deciding line, from 1; 0 for Unknown.
    std::vector<std::string> keyTypes;
};
HostRecord lookUpHost(std::string_view text, const std::string& host, int port, ByteView keyBlob);

} // namespace ssh
