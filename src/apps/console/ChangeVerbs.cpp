// The verbs that change a wrapper: clear and prepare.

#include "apps/console/OpenWrapper.h"
#include "apps/console/Question.h"
#include "apps/console/Terminal.h"
#include "apps/console/Verbs.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "platform/plist/PropertyList.h"
#include "remote/project/XCodeProject.h"
#include "task/engine/ClearTasks.h"
#include "task/wrapper/ExecutableCheck.h"
#include "task/wrapper/TaskNumbers.h"

#include <fmt/format.h>

#include <map>

namespace {

namespace files = platform::files;
using Tasks = std::vector<std::shared_ptr<SVSingleTask>>;

bool tell(const std::string& sentence)
{
    return terminal::write(sentence + "\n");
}

bool mayClear(OpenWrapper& wrapper, const Tasks& tasks)
{
    const auto question = ClearTasks::questionBefore(wrapper.controller().wrapperName(), tasks);
    return !question || askYesOrNo(*question);
}

int clear(OpenWrapper& wrapper, const Tasks& tasks)
{
    const auto result = ClearTasks::clear(wrapper.controller().wrapperName(), tasks);
    for (const std::string& complaint : result.complaints)
        complain(complaint);
    const bool told = tell(result.cleared == 1 ? std::string("Cleared 1 task.")
                                               : fmt::format("Cleared {} tasks.", result.cleared));
    return told && result.complaints.empty() ? kDone : kNotDone;
}

int clearAborted(OpenWrapper& wrapper)
{
    if (!wrapper.controller().validateMenuItem("clearAbortedTasks:"))
        return tell("There are no aborted tasks to clear.") ? kDone : kNotDone;
    Tasks aborted;
    for (const auto& task : wrapper.controller().taskInformation())
        if (task->taskWasAborted())
            aborted.push_back(task);
    return clear(wrapper, aborted);
}

bool sameContent(const std::string& a, const std::string& b)
{
    return files::size(a) == files::size(b) && files::readFile(a) == files::readFile(b);
}

// Whether the scripts and make files are in the wrapper; prints a sentence for each that is missing.
bool scriptsArePrepared(const std::string& folder)
{
    bool complete = true;
    for (const char* name : {"compile", "submit", "Sources/Makefile", "Sources/Makefile.sources"}) {
        const std::string path = folder + "/" + name;
        if (files::exists(path) && !files::isDirectory(path))
            continue;
        complain(fmt::format(
            "{} could not be written{}.", path, files::isDirectory(path) ? ": a folder has its name" : ""));
        complete = false;
    }
    return complete;
}

// Whether the wrapper has an identical copy of each source; prints a sentence for each that it hasn't.
bool sourcesArePrepared(const std::string& projectPath, const std::string& folder)
{
    bool complete = true;
    std::map<std::string, std::string> sources; // From the path of the copy to the source.
    for (const std::string& source : XCodeProject::createWithFile(projectPath)->filesToCopy()) {
        const std::string copy = folder + "/Sources/" + platform::paths::lastComponent(source);
        const auto [first, isNew] = sources.emplace(copy, source);
        if (!isNew)
            complain(
                fmt::format("{} and {} have the same name, and only the first is in {}: rename one of them.",
                    first->second, source, folder));
        else if (!files::exists(source))
            complain(fmt::format("The source {} does not exist.", source));
        else if (!files::exists(copy))
            complain(fmt::format("The source {} could not be copied to {}.", source, copy));
        else if (!sameContent(source, copy))
            complain(fmt::format(
                "{} differs from {} and was kept; remove it and prepare again to take the source.", copy,
                source));
        else
            continue;
        complete = false;
    }
    return complete;
}

} // namespace

int clearVerb(const ClearOptions& options)
{
    const auto wrapper = OpenWrapper::open(options.wrapper);
    if (!wrapper)
        return kWrongUse;
    if (options.aborted)
        return clearAborted(*wrapper);
    const auto& all = wrapper->controller().taskInformation();
    const auto numbers = taskNumbers(options.tasks, static_cast<int>(all.size()));
    if (!numbers) {
        complain(numbers.error().text);
        return kWrongUse;
    }
    Tasks tasks;
    for (const int number : *numbers)
        tasks.push_back(all[static_cast<std::size_t>(number - 1)]);
    return options.yes || mayClear(*wrapper, tasks) ? clear(*wrapper, tasks) : kNotDone;
}

int prepareVerb(const PrepareOptions& options)
{
    const auto wrapper = OpenWrapper::open(options.wrapper);
    if (!wrapper)
        return kWrongUse;
    KRTrelkindController& controller = wrapper->controller();
    const auto project = controller.xCodeProject();
    if (!project || !controller.validateMenuItem("prepareForUpload:")) {
        complain(fmt::format("{} has no project: its Info.plist names none under \"Project Name\".",
            controller.wrapperName()));
        return kNotDone;
    }
    const auto read = platform::propertylist::readFile(*project + "/project.pbxproj");
    if (!read || read->isNull()) {
        complain(read ? fmt::format("The project {} does not exist.", *project) : read.error().text);
        return kNotDone;
    }
    const std::string folder = controller.wrapperName() + "/Project";
    if (!files::isDirectory(folder) && !files::createDirectory(folder)) {
        complain(fmt::format("{} could not be written.", folder));
        return kNotDone;
    }
    if (const auto status = checkWritable(folder); !status.ok()) {
        complain(status.error().text);
        return kNotDone;
    }
    controller.prepareForUpload();
    const bool hasSources = sourcesArePrepared(*project, folder);
    if (!scriptsArePrepared(folder) || !hasSources)
        return kNotDone;
    return tell(fmt::format("Prepared {}.", folder)) ? kDone : kNotDone;
}
