#include "remote/cluster/SchedulerJobs.h"

#include <algorithm>
#include <charconv>
#include <optional>

namespace schedulerjobs {

namespace {

constexpr std::string_view kAccepted = "Submitted batch job ";
constexpr std::size_t kMostComplaints = 100;
constexpr std::size_t kMostJobs = 1'000'000;

// Takes the text up to the separator off the front.
std::string_view take(std::string_view& text, char separator)
{
    const std::size_t end = std::min(text.find(separator), text.size());
    const std::string_view taken = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return taken;
}

bool isNumber(std::string_view text)
{
    return !text.empty()
        && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::optional<int> runNumber(std::string_view folder, std::string_view batchFolder)
{
    const std::size_t slash = folder.rfind('/');
    if (slash == folder.npos)
        return std::nullopt;
    const std::string_view parent = folder.substr(0, slash);
    const std::string_view name = folder.substr(slash + 1);
    const bool isBatch = parent.ends_with(batchFolder)
        && (parent.size() == batchFolder.size() || parent[parent.size() - batchFolder.size() - 1] == '/');
    int number = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
    if (!isBatch || error != std::errc() || end != name.data() + name.size() || number < 0)
        return std::nullopt;
    return number;
}

} // namespace

std::string queryCommand()
{
    return "squeue --noheader --user=\"$(id -un)\" --format='%i|%T|%r|%Z'";
}

std::vector<SchedulerJob> parse(std::string_view answer, std::string_view batchFolder)
{
    std::vector<SchedulerJob> jobs;
    while (!answer.empty() && jobs.size() < kMostJobs) {
        std::string_view line = take(answer, '\n');
        const std::string_view id = take(line, '|');
        const std::string_view state = take(line, '|');
        const std::string_view reason = take(line, '|');
        if (const auto run = runNumber(line, batchFolder); run && isNumber(id))
            jobs.push_back({std::string(id), *run, std::string(state), std::string(reason)});
    }
    return jobs;
}

std::string cancelCommand(const std::vector<SchedulerJob>& jobs)
{
    std::string command = "scancel";
    for (const SchedulerJob& job : jobs)
        command += " " + job.id;
    return command;
}

Submission parseSubmission(std::string_view output)
{
    Submission submission;
    while (!output.empty()) {
        const std::string_view line = take(output, '\n');
        if (line.starts_with(kAccepted))
            ++submission.accepted;
        else if (!line.empty() && submission.complaints.size() < kMostComplaints)
            submission.complaints.emplace_back(line);
    }
    return submission;
}

} // namespace schedulerjobs
