#include "remote/machines/SshClientConfig.h"

#include "platform/files/FileManager.h"
#include "platform/files/TildePaths.h"

#include <algorithm>
#include <charconv>
#include <vector>

namespace {

constexpr const char* kUsersFile = "~/.ssh/config";
constexpr std::uint64_t kLongestFile = 1 << 20; // Bytes.
constexpr int kLargestPort = 65535;
constexpr std::string_view kBlanks = " \t\r";

std::string lowered(std::string_view text)
{
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
        [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return lower;
}

// The words of a line, with "=" taken for a blank behind the key, and quotes taken off.
std::vector<std::string> wordsOf(std::string_view line)
{
    std::vector<std::string> words;
    for (;;) {
        const auto start = line.find_first_not_of(kBlanks);
        if (start == line.npos || (words.empty() && line[start] == '#'))
            return words;
        line.remove_prefix(start);
        if (words.size() == 1 && line.front() == '=') {
            line.remove_prefix(1);
            continue;
        }
        const bool isQuoted = line.front() == '"';
        if (isQuoted)
            line.remove_prefix(1);
        const std::string_view ends = isQuoted ? "\"" : words.empty() ? " \t\r=" : kBlanks;
        const auto end = std::min(line.find_first_of(ends), line.size());
        words.emplace_back(line.substr(0, end));
        line.remove_prefix(std::min(end + (isQuoted ? 1 : 0), line.size()));
    }
}

bool matchesWildcards(std::string_view name, std::string_view pattern)
{
    std::size_t n = 0;
    std::size_t p = 0;
    std::size_t star = pattern.npos;
    std::size_t starName = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            starName = n;
        } else if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == name[n])) {
            ++p;
            ++n;
        } else if (star != pattern.npos) {
            p = star + 1;
            n = ++starName;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == pattern.npos;
}

// The patterns are all words but the first; a match of a negated one ends it.
bool concerns(const std::vector<std::string>& words, const std::string& alias)
{
    bool matched = false;
    for (std::size_t i = 1; i < words.size(); ++i) {
        const bool isNegated = words[i].starts_with('!');
        if (!matchesWildcards(alias, std::string_view(words[i]).substr(isNegated ? 1 : 0)))
            continue;
        if (isNegated)
            return false;
        matched = true;
    }
    return matched;
}

std::string withAlias(std::string text, const std::string& alias)
{
    for (std::size_t at = 0; (at = text.find("%h", at)) != text.npos; at += alias.size())
        text.replace(at, 2, alias);
    return text;
}

std::optional<int> portOf(const std::string& text)
{
    int port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    const bool isPort =
        error == std::errc() && end == text.data() + text.size() && port > 0 && port <= kLargestPort;
    return isPort ? std::optional(port) : std::nullopt;
}

} // namespace

SshClientConfig SshClientConfig::parse(std::string_view text, const std::string& alias)
{
    SshClientConfig config;
    std::optional<std::string> jump;
    bool counts = true;
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        const auto words = wordsOf(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (words.size() < 2)
            continue;
        const std::string key = lowered(words[0]);
        const auto keep = [&words](std::optional<std::string>& value) { value = value ? value : words[1]; };
        if (key == "host")
            counts = concerns(words, alias);
        else if (key == "match")
            counts = false;
        else if (!counts)
            continue;
        else if (key == "hostname")
            keep(config.hostName);
        else if (key == "user")
            keep(config.user);
        else if (key == "identityfile")
            keep(config.identityFile);
        else if (key == "proxyjump")
            keep(jump);
        else if (key == "port" && !config.port)
            config.port = portOf(words[1]);
    }
    if (config.hostName)
        config.hostName = withAlias(*config.hostName, alias);
    if (config.identityFile)
        config.identityFile = withAlias(*config.identityFile, config.hostName.value_or(alias));
    if (jump && lowered(*jump) != "none")
        config.proxyJump = jump;
    return config;
}

SshClientConfig SshClientConfig::of(const std::string& alias)
{
    const auto text = platform::files::readFile(platform::paths::expandingTilde(kUsersFile), kLongestFile);
    return text.ok() ? parse(*text, alias) : SshClientConfig();
}
