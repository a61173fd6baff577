#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What the user's SSH client is told about a host in `~/.ssh/config`. Of each key the first value counts, and
// a "Host" line begins a part for the names that its patterns match. Parts under "Match" are left out.
struct SshClientConfig {
    std::optional<std::string> hostName; // The address behind an alias; "%h" in it stands for the alias.
    std::optional<int> port;
    std::optional<std::string> user;
    std::optional<std::string> identityFile; // The first one; "~" and "%h" as in the file.
    // [user@]host[:port], or several with commas between, the first one nearest; nothing for "none".
    std::optional<std::string> proxyJump;
    bool hasMatch = false; // A "Match" part was left out.

    // The texts of the files that a word of an "Include" line stands for.
    using Include = std::function<std::vector<std::string>(const std::string& word)>;
    static SshClientConfig parse(
        std::string_view text, const std::string& alias, const Include& include = nullptr);
    // Of the user's own file; empty when there is none. The first "Match" part of the process is told to the
    // message center. Any thread.
    static SshClientConfig of(const std::string& alias);
};
