#pragma once

#include "ssh/crypto/PublicKey.h"

#include <string>
#include <vector>

namespace ssh {

// The file in which the keys of hosts are remembered, in OpenSSH's form: names in the clear, with wildcards,
// as "[host]:port", or hashed as "|1|salt|hash"; "@revoked" lines forbid a key. Any thread, and several
// processes at once: the file is locked while a key is looked up and added.
class KnownHosts {
public:
    explicit KnownHosts(std::string path) : path_(std::move(path)) { }
    // `~/Library/Trelkind/known_hosts` of this user; empty where the user has no home.
    static std::string defaultPath();

    // The key types recorded for a host, by the names in the keys. A file that isn't there knows no host.
    std::vector<std::string> keyTypes(const std::string& host, int port) const;

    // Success when the key is recorded for the host, or when nothing was and it has now been recorded (folder
    // with mode 0700, file 0600). A host known under other keys, of whatever type, is refused, and so is one
    // whose key can't be compared or recorded: `LastErrorText` tells what to do.
    Status accept(const std::string& host, int port, const PublicKey& key) const;

private:
    std::string path_;
};

// What a known hosts text says about a host, apart from any file.
struct HostRecord {
    enum class Verdict { Unknown, Known, Changed, Revoked };
    Verdict verdict = Verdict::Unknown;
    std::size_t line = 0; // Of the entry that decided, from 1; 0 for Unknown.
    std::vector<std::string> keyTypes;
};
HostRecord lookUpHost(std::string_view text, const std::string& host, int port, ByteView keyBlob);

} // namespace ssh
