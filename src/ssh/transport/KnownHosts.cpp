#include "ssh/transport/KnownHosts.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace ssh {

namespace {

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
        [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// A host as the file names it.
std::string nameInFile(const std::string& host, int port)
{
    std::string name = lower(host);
    if (port != 22)
        name.insert(0, 1, '[').append("]:").append(std::to_string(port));
    return name;
}

// "*" stands for any characters, "?" for one.
bool matchesPattern(std::string_view name, std::string_view pattern)
{
    std::size_t n = 0;
    std::size_t p = 0;
    std::size_t star = std::string_view::npos;
    std::size_t starName = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            starName = n;
        } else if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == name[n])) {
            ++p;
            ++n;
        } else if (star != std::string_view::npos) {
            p = star + 1;
            n = ++starName;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

// "|1|salt|hash": the hash is an HMAC with SHA-1 of the name, under the salt.
bool matchesHashed(const std::string& name, std::string_view field)
{
    field.remove_prefix(3);
    const auto bar = field.find('|');
    Bytes salt;
    Bytes expected;
    return bar != std::string_view::npos && fromBase64(field.substr(0, bar), salt)
        && fromBase64(field.substr(bar + 1), expected)
        && equal(hmac(GCRY_MD_SHA1, salt, {viewOf(name)}), expected);
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
        if (!pattern.empty() && matchesPattern(name, std::string_view(pattern).substr(negated ? 1 : 0))) {
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
    Bytes recorded;
    const bool readable = fromBase64(takeWord(line), recorded);
    const bool same = readable && equal(recorded, blob);
    if (!marker.empty()) {
        if (same)
            record = {HostRecord::Verdict::Revoked, number, record.keyTypes};
        return;
    }
    record.keyTypes.emplace_back(type);
    // A line that can't be read still says that the host is known: it never lets another key in.
    if (same)
        record = {HostRecord::Verdict::Known, number, record.keyTypes};
    else if (record.verdict == HostRecord::Verdict::Unknown)
        record = {HostRecord::Verdict::Changed, number, record.keyTypes};
}

std::string systemReason()
{
    return std::strerror(errno);
}

// A descriptor that is closed, and a lock on it given back, at the end of the scope.
class File {
public:
    explicit File(int descriptor) : descriptor_(descriptor) { }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File()
    {
        if (descriptor_ >= 0)
            close(descriptor_);
    }
    int get() const { return descriptor_; }

private:
    int descriptor_;
};

bool readAll(int descriptor, std::string& text)
{
    constexpr std::size_t kMostBytes = std::size_t{64} * 1024 * 1024;
    char buffer[16384];
    while (text.size() < kMostBytes) {
        const ssize_t got = read(descriptor, buffer, sizeof buffer);
        if (got == 0)
            return true;
        if (got < 0 && errno != EINTR)
            return false;
        if (got > 0)
            text.append(buffer, static_cast<std::size_t>(got));
    }
    errno = EFBIG;
    return false;
}

// Whoever holds the lock only reads the file and adds a line. One that is held for longer is somebody's
// fault, which our caller's time limits don't pay for.
bool lockSoon(int descriptor)
{
    for (int attempt = 0; attempt < 200; ++attempt) {
        if (flock(descriptor, LOCK_EX | LOCK_NB) == 0)
            return true;
        if (errno != EWOULDBLOCK && errno != EINTR)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
}

// Behind the `size` bytes that the file has. Half a line would keep the host out from then on: on a full
// disk, none is left.
bool addLine(int descriptor, std::string_view line, std::size_t size)
{
    while (!line.empty()) {
        const ssize_t put = write(descriptor, line.data(), line.size());
        if (put < 0 && errno != EINTR) {
            const int reason = errno;
            (void)!ftruncate(descriptor, static_cast<off_t>(size));
            errno = reason;
            return false;
        }
        if (put > 0)
            line.remove_prefix(static_cast<std::size_t>(put));
    }
    return true;
}

void makeFolders(const std::string& path)
{
    for (auto slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
        mkdir(path.substr(0, slash).c_str(), 0700); // A failure shows when the file is opened.
}

Error cannot(const std::string& what, const std::string& path)
{
    return Error{"The known hosts file " + path + " can't be " + what + " (" + systemReason()
        + "), so the host's key can't be checked."};
}

Error refusal(
    const HostRecord& record, const std::string& path, const std::string& name, const PublicKey& key)
{
    const std::string shown = key.type() + " " + key.fingerprint();
    const std::string place = "line " + std::to_string(record.line) + " of " + path;
    if (record.verdict == HostRecord::Verdict::Revoked)
        return Error{"The host " + name + " showed the key " + shown + ", which " + place
            + " marks as revoked. The connection was refused."};
    return Error{"The host " + name + " showed the key " + shown + ", but is known under another one ("
        + place
        + "). Somebody may be listening in, or the host has a new key. The connection was refused. If the "
          "host's keeper confirms the new key, remove that line (or run: ssh-keygen -R '"
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
    std::string home;
    if (const char* variable = std::getenv("HOME"); variable && *variable) {
        home = variable;
    } else {
        passwd entry{};
        passwd* found = nullptr;
        char buffer[4096];
        if (getpwuid_r(getuid(), &entry, buffer, sizeof buffer, &found) == 0 && found && found->pw_dir)
            home = found->pw_dir;
    }
    return home.empty() ? std::string() : home + "/Library/Trelkind/known_hosts";
}

std::vector<std::string> KnownHosts::keyTypes(const std::string& host, int port) const
{
    const File file(open(path_.c_str(), O_RDONLY | O_CLOEXEC));
    std::string text;
    if (file.get() < 0 || !readAll(file.get(), text))
        return {};
    return lookUpHost(text, host, port, {}).keyTypes;
}

Status KnownHosts::accept(const std::string& host, int port, const PublicKey& key) const
{
    if (path_.empty())
        return Error{"There is no place to remember host keys: the user has no home folder."};
    const std::string name = nameInFile(host, port);
    // Without the lock first: a host is mostly known, and a file that can only be read serves for that.
    std::string text;
    const File reading(open(path_.c_str(), O_RDONLY | O_CLOEXEC));
    if (reading.get() >= 0 ? !readAll(reading.get(), text) : errno != ENOENT)
        return cannot("read", path_);
    HostRecord record = lookUpHost(text, host, port, key.blob());
    if (record.verdict == HostRecord::Verdict::Known)
        return {};

    // Then under the lock: somebody else may just have met the host, and have been halfway through its line.
    makeFolders(path_);
    const File file(open(path_.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0600));
    const bool locked = file.get() >= 0 && lockSoon(file.get());
    if (locked) {
        text.clear();
        if (!readAll(file.get(), text))
            return cannot("read", path_);
        record = lookUpHost(text, host, port, key.blob());
    }
    if (record.verdict == HostRecord::Verdict::Known)
        return {};
    if (record.verdict != HostRecord::Verdict::Unknown)
        return refusal(record, path_, name, key);
    if (!locked)
        return cannot("written", path_);
    // Somebody's last line may have no end.
    const std::string start = text.empty() || text.ends_with('\n') ? "" : "\n";
    return addLine(
               file.get(), start + name + " " + key.type() + " " + toBase64(key.blob()) + "\n", text.size())
        ? Status()
        : cannot("written", path_);
}

} // namespace ssh
