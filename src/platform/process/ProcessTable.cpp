#include "platform/process/ProcessTable.h"

#include "platform/files/FileManager.h"

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <iterator>
#include <map>
#include <memory>
#include <poll.h>
#include <set>
#include <string>
#include <string_view>
#include <sys/syscall.h>
#include <unistd.h>

namespace platform {

namespace {

// The text behind the last parenthesis of /proc/N/stat begins with the third field.
constexpr std::size_t kStateField = 0;
constexpr std::size_t kParentField = 1;
constexpr std::size_t kGroupField = 2;
constexpr std::size_t kStartTimeField = 19;

template <typename Number>
bool parse(std::string_view text, Number& number)
{
    return std::from_chars(text.data(), text.data() + text.size(), number).ec == std::errc();
}

std::vector<std::string_view> splitAtBlanks(std::string_view text)
{
    std::vector<std::string_view> fields;
    while (!text.empty()) {
        const std::size_t blank = text.find(' ');
        if (blank != 0)
            fields.push_back(text.substr(0, blank));
        text = blank == std::string_view::npos ? std::string_view() : text.substr(blank + 1);
    }
    return fields;
}

// Room for the largest environment that the system hands to a program.
constexpr std::size_t kMostEnvironmentBytes = std::size_t{8} << 20;

bool bearsMark(pid_t process, const std::string& mark)
{
    const std::string path = "/proc/" + std::to_string(process) + "/environ";
    const auto environment = files::readFile(path, kMostEnvironmentBytes);
    if (!environment)
        return false;
    const std::string name = std::string(kMarkVariable) + "=";
    const std::string wanted = kMarkSeparator + mark + kMarkSeparator;
    for (std::string_view rest = *environment; !rest.empty();) {
        const std::string_view variable = rest.substr(0, rest.find('\0'));
        if (variable.starts_with(name)) {
            const std::string marks(variable.substr(name.size()));
            return (kMarkSeparator + marks + kMarkSeparator).find(wanted) != std::string::npos;
        }
        rest.remove_prefix(std::min(rest.size(), variable.size() + 1));
    }
    return false;
}

} // namespace

std::optional<ProcessTable::Entry> ProcessTable::find(pid_t process)
{
    const std::string path = "/proc/" + std::to_string(process) + "/stat";
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    char buffer[1024];
    const ssize_t count =
        retryInterrupted([&] { return file ? ::read(file.get(), buffer, sizeof buffer) : ssize_t{0}; });
    if (count <= 0)
        return std::nullopt;
    // The name in the second field may hold anything, blanks and parentheses too.
    const std::string_view line(buffer, static_cast<std::size_t>(count));
    const std::size_t nameEnd = line.rfind(')');
    if (nameEnd == std::string_view::npos)
        return std::nullopt;
    const auto fields = splitAtBlanks(line.substr(nameEnd + 1));
    ProcessTable::Entry entry;
    entry.process = process;
    if (fields.size() <= kStartTimeField || !parse(fields[kParentField], entry.parent)
        || !parse(fields[kGroupField], entry.group) || !parse(fields[kStartTimeField], entry.startTime))
        return std::nullopt;
    const std::string_view state = fields[kStateField];
    entry.isDead = state == "Z" || state == "X" || state == "x";
    return entry;
}

std::optional<ProcessTable> ProcessTable::read()
{
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir("/proc"), &::closedir);
    if (!folder)
        return std::nullopt;
    ProcessTable table;
    while (const dirent* name = ::readdir(folder.get())) {
        pid_t process = 0;
        if (!parse(name->d_name, process))
            continue;
        if (const auto entry = find(process))
            table.entries_.push_back(*entry);
    }
    // A /proc without any process isn't mounted.
    return table.entries_.empty() ? std::nullopt : std::optional(std::move(table));
}

std::vector<ProcessTable::Entry> ProcessTable::membersOf(pid_t group) const
{
    std::vector<Entry> members;
    if (group <= 0) // Kernel threads show 0 and belong to no group.
        return members;
    std::copy_if(entries_.begin(), entries_.end(), std::back_inserter(members),
        [&](const Entry& entry) { return entry.group == group && !entry.isDead; });
    return members;
}

std::vector<ProcessTable::Entry> ProcessTable::descendantsOutside(
    pid_t group, const std::vector<pid_t>& furtherRoots) const
{
    std::multimap<pid_t, const Entry*> children;
    for (const Entry& entry : entries_)
        children.emplace(entry.parent, &entry);

    std::vector<pid_t> toVisit = furtherRoots;
    for (const Entry& member : membersOf(group))
        toVisit.push_back(member.process);
    std::set<pid_t> seen(toVisit.begin(), toVisit.end());
    std::vector<Entry> found;
    while (!toVisit.empty()) {
        const pid_t parent = toVisit.back();
        toVisit.pop_back();
        const auto [first, last] = children.equal_range(parent);
        for (auto child = first; child != last; ++child) {
            const Entry& entry = *child->second;
            if (!seen.insert(entry.process).second)
                continue;
            toVisit.push_back(entry.process);
            if (entry.group != group && !entry.isDead)
                found.push_back(entry);
        }
    }
    return found;
}

std::vector<ProcessTable::Entry> ProcessTable::markedOutside(
    pid_t group, std::uint64_t startTime, const std::string& mark) const
{
    std::vector<Entry> found;
    std::copy_if(entries_.begin(), entries_.end(), std::back_inserter(found), [&](const Entry& entry) {
        return entry.startTime >= startTime && entry.group != group && !entry.isDead
            && bearsMark(entry.process, mark);
    });
    return found;
}

Descriptor openProcess(pid_t process)
{
    // The C library of some systems declares its own functions for these calls unusably for C++.
    return Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
}

std::optional<KnownProcess> KnownProcess::find(const ProcessTable::Entry& entry)
{
    Descriptor descriptor = openProcess(entry.process);
    // The number may belong to another process by now.
    const auto current = descriptor ? ProcessTable::find(entry.process) : std::nullopt;
    if (!current || current->startTime != entry.startTime)
        return std::nullopt;
    return KnownProcess(entry.process, std::move(descriptor));
}

bool KnownProcess::isAlive() const
{
    pollfd polled{descriptor_.get(), POLLIN, 0};
    return retryInterrupted([&] { return ::poll(&polled, 1, 0); }) == 0;
}

void KnownProcess::signal(int signalNumber) const
{
    ::syscall(SYS_pidfd_send_signal, descriptor_.get(), signalNumber, nullptr, 0);
}

} // namespace platform
