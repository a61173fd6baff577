#pragma once

#include <optional>
#include <string>

namespace platform {

// Keeps one password for each server and account, in a file of mode 0600 in the user's own folder. A file
// that can't be read is left alone and never written over. Main thread.
class SecretStore {
public:
    explicit SecretStore(std::string path); // Usually <Places::library()>/Secrets.plist.
    std::optional<std::string> find(const std::string& server, const std::string& account) const;
    bool store(const std::string& server, const std::string& account, const std::string& secret);
    bool remove(const std::string& server, const std::string& account);

private:
    std::string path_;
};

} // namespace platform
