#pragma once

#include <optional>
#include <string>
#include <vector>

// The texts of the scripts that a batch leaves on the cluster, and the files that they make there.
namespace jobscripts {

inline constexpr const char* kRunStarted = "VTask_runStarted";
inline constexpr const char* kRunCompleted = "VTask_runCompleted";
inline constexpr const char* kSubmitTasks = "SubmitTasks";
inline constexpr const char* kCompileExecutable = "SVCompileExecutable";

// The script of one run, which lies in the run's folder under the program's name.
std::string job(const std::string& program, int runNumber);
// The script that hands all runs to the scheduler.
std::string submitTasks(const std::string& workDirectory, const std::string& batch,
    const std::string& program, const std::vector<int>& runNumbers);
// The script that compiles the sources and copies the program to the batch; with an MD5, also to the login's
// cache. It is read by the login's shell.
std::string compileExecutable(
    const std::string& sourcesFolder, const std::string& program, const std::optional<std::string>& md5);

} // namespace jobscripts
