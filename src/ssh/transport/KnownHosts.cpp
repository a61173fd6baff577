#include "ssh/transport/KnownHosts.h"

#include "platform/files/File.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "platform/files/Places.h"
#include "ssh/transport/HostPattern.h"

#include <algorithm>

#include <tuple>

namespace ssh {

namespace {

using platform::File;

// ASCII letters only, in every locale.
std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
        [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

// The host's name in the file.
std::string nameInFile(const std::string& host, int port)
{
    std::string name = lower(host);
    if (port != 22)
        name.insert(0, 1, '[').append("]:").append(std::to_string(port));
    return name;
}

// "|1|salt|hash": the hash is an HMAC with SHA-1 of the name, under the salt.
bool matchesHashed(const std::string& name, std::string_view field)
{
    field.remove_prefix(3);
    const auto bar = field.find('|');
    if (bar == std::string_view::npos)
        return false;
    const auto salt = fromBase64(field.substr(0, bar));
    const auto expected = fromBase64(field.substr(bar + 1));
    return salt && expected && equal(hmac(GCRY_MD_SHA1, *salt, {viewOf(name)}), *expected);
}

bool matchesHost(const std::string& name, std::string_view field)
{
    if (field.starts_with("|1|"))
        return matchesHashed(name, field);
    bool matched = false;
    while (!field.empty()) {
        const auto comma = field.find(',');
        std::string pattern = lower(std::string(field.substr(0, comma)));
        field = comma == std::string_view::npos ? std::string_view() : field.substr(comma + 1);
        const bool negated = pattern.starts_with('!');
        if (!pattern.empty() && matchesHostPattern(name, std::string_view(pattern).substr(negated ? 1 : 0))) {
            if (negated)
                return false;
            matched = true;
        }
    }
    return matched;
}

std::string_view takeWord(std::string_view& line)
{
    const auto start = line.find_first_not_of(" \t\r");
    if (start == std::string_view::npos) {
        line = {};
        return {};
    }
    const auto end = std::min(line.find_first_of(" \t\r", start), line.size());
    const std::string_view word = line.substr(start, end - start);
    line.remove_prefix(end);
    return word;
}

void consider(
    HostRecord& record, std::string_view line, std::size_t number, const std::string& name, ByteView blob)
{
    std::string_view field = takeWord(line);
    std::string_view marker;
    if (field.starts_with('@')) {
        marker = field;
        field = takeWord(line);
    }
    if (field.empty() || field.starts_with('#') || record.verdict == HostRecord::Verdict::Revoked
        || (!marker.empty() && marker != "@revoked") || !matchesHost(name, field))
        return;
    const std::string_view type = takeWord(line);
    const auto recorded = fromBase64(takeWord(line));
    const bool same = recorded && equal(*recorded, blob);
    if (!marker.empty()) {
        if (same)
            record = {HostRecord::Verdict::Revoked, number, record.keyTypes};
        return;
    }
    record.keyTypes.emplace_back(type);
    // A line with a damaged key still makes the host a known one, so that no other key is accepted.
    if (same)
        record = {HostRecord::Verdict::Known, number, record.keyTypes};
    else if (record.verdict == HostRecord::Verdict::Unknown)
        record = {HostRecord::Verdict::Changed, number, record.keyTypes};
}

// A holder of the lock only reads the file and adds a line. One that keeps it longer must not use up our
// caller's time limit.
constexpr auto kLockLimit = std::chrono::seconds(1);
constexpr std::uint64_t kMostBytes = std::uint64_t{64} * 1024 * 1024;

Error cannotCheck(const Error& error)
{
    return Error{"The host's key can't be checked, because the known hosts file " + error.text + "."};
}

Result<std::string> readIfThere(const std::string& path)
{
    if (!platform::files::exists(path))
        return std::string();
    auto file = File::open(path, File::Mode::Read);
    return file.ok() ? file->readAll(kMostBytes) : Result<std::string>(file.error());
}

Status addLine(File& file, const std::string& text, const std::string& line)
{
    // The last line of another program may have no end.
    Status written = file.write((text.empty() || text.ends_with('\n') ? "" : "\n") + line + "\n");
    if (written.ok())
        return file.close();
    (void)file.truncate(text.size()); // Half a line would refuse the host from now on.
    return written;
}

Error refusal(
    const HostRecord& record, const std::string& path, const std::string& name, const PublicKey& key)
{
    const std::string shown = key.type() + " " + key.fingerprint();
    const std::string place = "line " + std::to_string(record.line) + " of " + path;
    if (record.verdict == HostRecord::Verdict::Revoked)
        return Error{"The host " + name + " showed the key " + shown + ", which " + place
            + " marks as revoked. The connection was refused."};
    const bool isKnownType =
        std::find(record.keyTypes.begin(), record.keyTypes.end(), key.type()) != record.keyTypes.end();
    return Error{"The host " + name + " showed the key " + shown + ", but is known under "
        + (isKnownType ? "another one" : "a key of another type") + " (" + place
        + "). Somebody may be listening in, or the host has a new key. The connection was refused. If the "
          "host's administrator confirms the new key, remove that line (or run: ssh-keygen -R '"
        + name + "' -f '" + path + "') and connect again."};
}

} // namespace

HostRecord lookUpHost(std::string_view text, const std::string& host, int port, ByteView keyBlob)
{
    const std::string name = nameInFile(host, port);
    HostRecord record;
    for (std::size_t number = 1; !text.empty(); ++number) {
        const auto end = text.find('\n');
        consider(record, text.substr(0, end), number, name, keyBlob);
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    }
    return record;
}

std::string KnownHosts::defaultPath()
{
    return platform::paths::appending(platform::Places::library(), "known_hosts");
}

std::vector<std::string> KnownHosts::keyTypes(const std::string& host, int port) const
{
    const auto text = readIfThere(path_);
    return text.ok() ? lookUpHost(*text, host, port, {}).keyTypes : std::vector<std::string>();
}

Result<KnownHosts::Meeting> KnownHosts::accept(
    const std::string& host, int port, const PublicKey& key, bool mayRecord) const
{
    // Without the lock first: most hosts are known, and a read-only file serves for these.
    auto text = readIfThere(path_);
    if (!text.ok())
        return cannotCheck(text.error());
    HostRecord record = lookUpHost(*text, host, port, key.blob());
    if (record.verdict == HostRecord::Verdict::Known)
        return Meeting::Known;
    if (record.verdict == HostRecord::Verdict::Unknown && !mayRecord)
        return Meeting::FirstUnrecorded;

    // Then under the lock: another process may have met the host just now, and be halfway through its line.
    // A folder that can't be made shows when the file is opened.
    std::ignore = platform::files::createDirectories(
        platform::paths::deletingLastComponent(path_), platform::files::kOwnersFolder);
    auto file = File::open(path_, File::Mode::Append, platform::files::kOwnersFile);
    const Status locked = file.ok() ? file->lock(kLockLimit) : Status(file.error());
    if (locked.ok()) {
        text = file->readAll(kMostBytes);
        if (!text.ok())
            return cannotCheck(text.error());
        record = lookUpHost(*text, host, port, key.blob());
    }
    const std::string name = nameInFile(host, port);
    if (record.verdict == HostRecord::Verdict::Known)
        return Meeting::Known;
    if (record.verdict != HostRecord::Verdict::Unknown)
        return refusal(record, path_, name, key);
    if (!locked.ok())
        return cannotCheck(locked.error());
    const Status added = addLine(*file, *text, name + " " + key.type() + " " + toBase64(key.blob()));
    return added.ok() ? Result<Meeting>(Meeting::First) : cannotCheck(added.error());
}

} // namespace ssh
