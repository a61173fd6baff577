#include "remote/cluster/JobScripts.h"

#include <fmt/format.h>

namespace jobscripts {

std::string job(const std::string& program, int runNumber)
{
    // ">&" is no POSIX, and nothing stands between it and the program: runs under way depend on both.
    return fmt::format("#!/bin/sh\n\n"
                       "touch VTask_runStarted\n"
                       "touch ../Started/{1}\n"
                       "touch ../StartedLast\n"
                       "../Executable/{0} >& runOutput\n"
                       "echo machine > VTask_runCompleted\n"
                       "touch ../Finished/{1}\n"
                       "touch ../FinishedLast\n",
        program, runNumber);
}

std::string submitTasks(const std::string& workDirectory, const std::string& batch,
    const std::string& program, const std::vector<int>& runNumbers)
{
    std::string script = fmt::format("#!/bin/sh\n\ncd {}/{}\n\n", workDirectory, batch);
    const char* up = "";
    for (const int number : runNumbers) {
        script += fmt::format("cd {}{}\nsbatch --time=240:00:00 ./{}\n", up, number, program);
        up = "../";
    }
    return script;
}

std::string compileExecutable(
    const std::string& sourcesFolder, const std::string& program, const std::optional<std::string>& md5)
{
    std::string script = fmt::format("#! /bin/sh\n\n"
                                     "cd {0}\n"
                                     "rm -f {1}\n"
                                     "make -j 8\n\n"
                                     "if [ -f {1} ]\n"
                                     "then\n"
                                     "    cp {1} ../Executable/\n",
        sourcesFolder, program);
    if (md5)
        script += fmt::format("    cp {0} ../../CachedExecutables/\n"
                              "    echo {1} > ../../CachedExecutables/{0}.md5\n",
            program, *md5);
    return script + fmt::format("else\n    rm {} ../Executable/\nfi\n", program);
}

} // namespace jobscripts
