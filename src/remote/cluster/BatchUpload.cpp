#include "remote/cluster/BatchUpload.h"

#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "remote/cluster/JobScripts.h"
#include "remote/cluster/SVCopyUsingSCPFromLocal.h"
#include "remote/project/XCodeProject.h"

namespace batchupload {

namespace {

using platform::Value;
using platform::paths::appending;
using platform::paths::lastComponent;

constexpr int kOwnersScript = 0700;

} // namespace

Value::Array input(Kind kind, const std::string& wrapper, const std::string& workDirectory,
    const std::string& batch, const std::string& program, const std::vector<int>& runs)
{
    const std::string folder = appending(workDirectory, batch);
    Value::Array actions;
    for (const int run : runs) {
        const std::string local = appending(wrapper, std::to_string(run));
        const std::string remote = appending(folder, std::to_string(run));
        actions.push_back(clusteraction::createDirectory(remote));
        const auto names = platform::files::contentsOfDirectory(local);
        for (const std::string& name : names.value_or({}))
            if (!name.starts_with('.'))
                actions.push_back(
                    clusteraction::copyFromLocal(appending(local, name), appending(remote, name)));
        if (kind == Kind::Batch)
            actions.push_back(clusteraction::createFromData(
                jobscripts::job(program, run), appending(remote, program), kOwnersScript));
    }
    if (kind == Kind::Batch)
        actions.push_back(
            clusteraction::createFromData(jobscripts::submitTasks(workDirectory, batch, program, runs),
                appending(folder, jobscripts::kSubmitTasks), kOwnersScript));
    return actions;
}

Value::Array sources(Kind kind, const std::string& projectPath, const std::string& batchFolder,
    const std::string& program, const std::string& md5)
{
    const auto project = XCodeProject::createWithFile(projectPath);
    const std::string folder = appending(batchFolder, "Sources");
    Value::Array actions{clusteraction::createDirectory(folder)};
    for (const std::string& file : project->filesToCopy())
        actions.push_back(clusteraction::copyFromLocal(file, appending(folder, lastComponent(file))));
    const bool isBatch = kind == Kind::Batch;
    const auto makefiles = isBatch ? project->makefile(program) : project->makefileOfSetUp(program);
    for (const char* name : {"Makefile.sources", "Makefile"})
        actions.push_back(clusteraction::createFromData(makefiles.at(name), appending(folder, name)));
    actions.push_back(clusteraction::createDirectory(appending(batchFolder, "Executable")));
    Value script = clusteraction::createFromData(
        jobscripts::compileExecutable(folder, program, isBatch ? std::optional(md5) : std::nullopt),
        appending(folder, jobscripts::kCompileExecutable));
    script.mutableDictionary()["chmod"] = "x"; // Means nothing: the shell reads the script.
    actions.push_back(std::move(script));
    return actions;
}

} // namespace batchupload
