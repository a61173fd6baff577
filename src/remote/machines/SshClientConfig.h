#pragma once

#include <optional>
#include <string>
#include <string_view>

// What the user's SSH client is told about a host in `~/.ssh/config`. Of each key the first value counts, and
// a "Host" line begins a part for the names that its patterns match. Parts under "Match" and included files
// are left out.
struct SshClientConfig {
    std::optional<std::string> hostName; // The address behind an alias; "%h" in it stands for the alias.
    std::optional<int> port;
    std::optional<std::string> user;
    std::optional<std::string> identityFile; // The first one; "~" and "%h" as in the file.
    std::optional<std::string> proxyJump; // [user@]host[:port]; nothing for "none".

    static SshClientConfig parse(std::string_view text, const std::string& alias);
    // Of the user's own file; empty when there is none. Any thread.
    static SshClientConfig of(const std::string& alias);
};
