#pragma once

#include <string>
#include <string_view>
#include <vector>

// A job of the scheduler that belongs to a run of a batch.
struct SchedulerJob {
    std::string id; // Digits.
    int run = 0; // The number of the run folder.
    std::string state; // The scheduler's word, such as PENDING.
    std::string reason; // Why it waits.
};

// What the scheduler is asked, and how its answers are read. They come from the cluster: what makes no sense
// is passed over.
namespace schedulerjobs {

// Lists the login's jobs, a line each: id, state, reason and working folder.
std::string queryCommand();
// The jobs that work in run folders of the batch, whose folder is given as it is on the cluster, relative to
// the login's home or absolute.
std::vector<SchedulerJob> parse(std::string_view answer, std::string_view batchFolder);
std::string cancelCommand(const std::vector<SchedulerJob>& jobs);

// How many jobs the output of the submission says were accepted, and its other lines.
struct Submission {
    std::size_t accepted = 0;
    std::vector<std::string> complaints;
};
Submission parseSubmission(std::string_view output);

} // namespace schedulerjobs
