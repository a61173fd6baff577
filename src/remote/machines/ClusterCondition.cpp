#include "remote/machines/ClusterCondition.h"

#include "diagnostics/KRMessageCenter.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>

namespace clustercondition {

namespace {

constexpr std::int64_t kHoursOfJobs = 240;
constexpr std::int64_t kLeastRoom = 100; // MB
constexpr std::int64_t kBlocksPerMegabyte = 1024; // Of those that quotas count.
constexpr std::int64_t kHoursPerDay = 24;
constexpr std::size_t kLongestAnswer = 1 << 20; // Bytes.
constexpr int kPollMs = 2000;
constexpr LoginLimits kQuestionLimits{5000, 5000};
// The facts, as the command names them.
constexpr std::string_view kNoScheduler = "no sbatch";
constexpr std::string_view kNoRedirection = "no redirection";
constexpr std::string_view kPartition = "partition ";
constexpr std::string_view kRoom = "room ";
constexpr std::string_view kQuota = "quota ";

// The whole number that a text is, or begins with up to the separator.
std::optional<std::int64_t> number(std::string_view text)
{
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() && value >= 0 ? std::optional(value)
                                                                                  : std::nullopt;
}

// "2-00:00:00", "10:00:00" and "30:00" (minutes); nothing for a limit without an end.
std::optional<std::int64_t> hours(std::string_view limit)
{
    std::int64_t days = 0;
    if (const std::size_t dash = limit.find('-'); dash != limit.npos) {
        days = number(limit.substr(0, dash)).value_or(kHoursOfJobs);
        limit.remove_prefix(dash + 1);
    }
    const std::size_t first = limit.find(':');
    if (first == limit.npos)
        return std::nullopt;
    const bool hasHours = limit.find(':', first + 1) != limit.npos || days > 0;
    const auto leading = number(limit.substr(0, first));
    if (!leading || days > kHoursOfJobs)
        return std::nullopt;
    return days * kHoursPerDay + (hasHours ? *leading : 0);
}

// "FILESYSTEM BLOCKS LIMIT"; a star behind the blocks says that the softer limit is passed. Headings are no
// numbers.
std::optional<std::string> remarkOnQuota(std::string_view line)
{
    const std::size_t first = std::min(line.find(' '), line.size());
    const std::size_t second = line.find(' ', first + 1);
    if (second == line.npos)
        return std::nullopt;
    std::string_view used = line.substr(first + 1, second - first - 1);
    if (used.ends_with('*'))
        used.remove_suffix(1);
    const auto blocks = number(used);
    const auto limit = number(line.substr(second + 1));
    if (!blocks || !limit || *limit == 0 || *limit - *blocks >= kLeastRoom * kBlocksPerMegabyte)
        return std::nullopt;
    return fmt::format("Only {} MB of the quota on {} are left there.",
        std::max<std::int64_t>(*limit - *blocks, 0) / kBlocksPerMegabyte, line.substr(0, first));
}

std::optional<std::string> remarkOn(std::string_view line)
{
    if (line == kNoScheduler)
        return "sbatch isn't found there by commands that run without a login shell, so that jobs can't be "
               "submitted. Set PATH or load its module in the login's .bashrc.";
    if (line == kNoRedirection)
        return "/bin/sh there doesn't understand \">&\": every run would end at once, without output.";
    if (line.starts_with(kPartition)) {
        line.remove_prefix(kPartition.size());
        const std::size_t bar = line.find('|');
        const std::string_view name = line.substr(0, bar);
        const auto limit = bar == line.npos ? std::nullopt : hours(line.substr(bar + 1));
        if (name.ends_with('*') && limit && *limit < kHoursOfJobs) // The star marks the default.
            return fmt::format(
                "The partition {} that takes the jobs allows {} hours, and the jobs ask for {}: "
                "it may refuse them.",
                name.substr(0, name.size() - 1), *limit, kHoursOfJobs);
    }
    if (line.starts_with(kRoom))
        if (const auto room = number(line.substr(kRoom.size())); room && *room < kLeastRoom)
            return fmt::format("Only {} MB are free for the work folder there.", *room);
    if (line.starts_with(kQuota))
        return remarkOnQuota(line.substr(kQuota.size()));
    return std::nullopt;
}

} // namespace

std::string query(const std::string& workDirectory)
{
    return fmt::format("/bin/sh -c 'command -v sbatch > /dev/null 2>&1 || echo {0}; "
                       "/bin/sh -c \"true >& /dev/null\" 2> /dev/null || echo {1}; "
                       "sinfo --noheader --format=\"{2}%P|%l\" 2> /dev/null; "
                       "df -Pm {4} 2> /dev/null | while read a b c d e; do echo \"{3}$d\"; done; "
                       "quota -w 2> /dev/null | while read a b c d e; do echo \"{5}$a $b $d\"; done'",
        kNoScheduler, kNoRedirection, kPartition, kRoom, workDirectory, kQuota);
}

std::vector<std::string> remarks(std::string_view answer)
{
    std::vector<std::string> found;
    while (!answer.empty()) {
        const std::size_t end = std::min(answer.find('\n'), answer.size());
        if (auto remark = remarkOn(answer.substr(0, end));
            remark && (found.empty() || found.back() != *remark))
            found.push_back(std::move(*remark));
        answer.remove_prefix(std::min(end + 1, answer.size()));
    }
    return found;
}

std::vector<std::string> ask(const SVSSHPasswordInfo& login, const std::string& workDirectory)
{
    ssh::CkoSsh connection;
    if (login.logIn(connection, kQuestionLimits))
        return {};
    const int channel = connection.OpenSessionChannel();
    if (channel < 0 || !connection.SendReqExec(channel, query(workDirectory)))
        return {};
    std::string answer;
    for (bool closed = false; !closed && answer.size() < kLongestAnswer;) {
        closed = connection.ChannelReceivedClose(channel);
        const int count = connection.ChannelReadAndPoll(channel, kPollMs);
        if (count < 0)
            break;
        const auto bytes = connection.GetReceivedDataN(channel, count);
        answer.append(bytes.begin(), bytes.end());
    }
    return remarks(answer);
}

void report(const std::string& machineName, const std::vector<std::string>& remarks)
{
    for (const std::string& remark : remarks)
        KRMessageCenter::addMessage(fmt::format("Batches may fail on {}.", machineName), remark);
}

} // namespace clustercondition
