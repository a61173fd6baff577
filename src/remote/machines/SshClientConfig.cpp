#include "remote/machines/SshClientConfig.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "platform/files/TildePaths.h"
#include "ssh/transport/HostPattern.h"

#include <algorithm>
#include <charconv>
#include <glob.h>
#include <mutex>

namespace {

constexpr const char* kUsersFile = "~/.ssh/config";
constexpr const char* kFolderOfIncludes = "~/.ssh"; // For names that aren't paths from the root.
constexpr int kDeepestInclude = 16; // A file may include itself.
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

// The patterns are all words but the first; a match of a negated one ends it.
bool concerns(const std::vector<std::string>& words, const std::string& alias)
{
    bool matched = false;
    for (std::size_t i = 1; i < words.size(); ++i) {
        const bool isNegated = words[i].starts_with('!');
        if (!ssh::matchesHostPattern(alias, std::string_view(words[i]).substr(isNegated ? 1 : 0)))
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

class ConfigReader {
public:
    ConfigReader(const std::string& alias, const SshClientConfig::Include& include)
        : alias_(alias), include_(include)
    { }
    // `counts` tells whether the lines before the first "Host" do.
    void read(std::string_view text, bool counts, int depth)
    {
        while (!text.empty()) {
            const auto end = std::min(text.find('\n'), text.size());
            const auto words = wordsOf(text.substr(0, end));
            text.remove_prefix(std::min(end + 1, text.size()));
            if (words.size() < 2)
                continue;
            const std::string key = lowered(words[0]);
            if (key == "host") {
                counts = concerns(words, alias_);
            } else if (key == "match") {
                counts = false;
                config_.hasMatch = true;
            } else if (key == "include" && include_ && counts && depth < kDeepestInclude) {
                for (std::size_t i = 1; i < words.size(); ++i)
                    for (const std::string& included : include_(words[i]))
                        read(included, true, depth + 1);
            } else if (counts) {
                take(key, words[1]);
            }
        }
    }
    SshClientConfig result()
    {
        if (config_.hostName)
            config_.hostName = withAlias(*config_.hostName, alias_);
        if (config_.identityFile)
            config_.identityFile = withAlias(*config_.identityFile, config_.hostName.value_or(alias_));
        if (jump_ && lowered(*jump_) != "none")
            config_.proxyJump = jump_;
        return std::move(config_);
    }

private:
    void take(const std::string& key, const std::string& word)
    {
        const struct {
            const char* key;
            std::optional<std::string>& value;
        } texts[] = {{"hostname", config_.hostName}, {"user", config_.user},
            {"identityfile", config_.identityFile}, {"proxyjump", jump_}};
        for (const auto& [name, value] : texts)
            if (key == name && !value)
                value = word;
        if (key == "port" && !config_.port)
            config_.port = portOf(word);
    }

    const std::string& alias_;
    const SshClientConfig::Include& include_;
    SshClientConfig config_;
    std::optional<std::string> jump_;
};

// The names of a pattern in their order.
std::vector<std::string> filesNamed(const std::string& pattern)
{
    glob_t found{};
    std::vector<std::string> names;
    if (::glob(pattern.c_str(), 0, nullptr, &found) == 0)
        names.assign(found.gl_pathv, found.gl_pathv + found.gl_pathc);
    ::globfree(&found);
    return names;
}

std::vector<std::string> includedTexts(const std::string& word)
{
    using namespace platform::paths;
    const bool isWhole = word.starts_with('/') || word.starts_with('~');
    std::vector<std::string> texts;
    for (const std::string& path :
        filesNamed(expandingTilde(isWhole ? word : appending(kFolderOfIncludes, word))))
        if (auto text = platform::files::readFile(path, kLongestFile); text.ok())
            texts.push_back(std::move(*text));
    return texts;
}

void tellOfMatch()
{
    static std::once_flag once;
    std::call_once(once, [] {
        KRMessageCenter::addMessage("A part of the configuration of the SSH client is left out.",
            "\"Match\" in ~/.ssh/config is not understood here. Write what a machine needs under \"Host\".");
    });
}

} // namespace

SshClientConfig SshClientConfig::parse(
    std::string_view text, const std::string& alias, const Include& include)
{
    ConfigReader reader(alias, include);
    reader.read(text, true, 0);
    return reader.result();
}

SshClientConfig SshClientConfig::of(const std::string& alias)
{
    const auto text = platform::files::readFile(platform::paths::expandingTilde(kUsersFile), kLongestFile);
    SshClientConfig config = text.ok() ? parse(*text, alias, includedTexts) : SshClientConfig();
    if (config.hasMatch)
        tellOfMatch();
    return config;
}
