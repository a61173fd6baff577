// What a cluster answers to the questions about jobs, the submission and its condition.

#include "remote/cluster/SchedulerJobs.h"
#include "remote/machines/ClusterCondition.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view answer(reinterpret_cast<const char*>(data), size);
    const auto jobs =
        schedulerjobs::parse(answer, "TrelkindWorkDirectory/01234567-89AB-CDEF-0123-456789ABCDEF");
    // The ids go into a command of the login's shell.
    const std::string command = schedulerjobs::cancelCommand(jobs);
    if (command.find_first_not_of("scancel 0123456789") != command.npos
        || std::any_of(jobs.begin(), jobs.end(), [](const auto& job) { return job.run < 0; }))
        std::abort();
    const auto submission = schedulerjobs::parseSubmission(answer);
    if (submission.accepted < 0 || submission.complaints.size() > 100)
        std::abort();
    (void)clustercondition::remarks(answer);
    return 0;
}
