#pragma once

#include "platform/Result.h"

#include <optional>
#include <string>

namespace platform {

// Keeps one password for each server and account, in a file of mode 0600 in the user's own folder. A file
// that can't be read is left alone and never written over. Main thread.
class SecretStore {
public:
    explicit SecretStore(std::string path); // Usually <Places::library()>/Secrets.plist.
    // Nothing when no password is kept for the account.
    Result<std::optional<std::string>> find(const std::string& server, const std::string& account) const;
    Status store(const std::string& server, const std::string& account, const std::string& secret);
    Status remove(const std::string& server, const std::string& account); // Fails when none is kept.

private:
    std::string path_;
};

} // namespace platform
