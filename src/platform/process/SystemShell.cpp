#include "platform/process/SystemShell.h"

#include "platform/ProcessInfo.h"
#include "platform/files/Descriptor.h"
#include "platform/files/FileManager.h"
#include "platform/files/Places.h"
#include "platform/process/Spawn.h"

#include <cstdlib>
#include <map>
#include <mutex>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>

namespace platform::systemshell {

namespace {

constexpr const char* kBinSh = "/bin/sh";

std::mutex mutex;
std::string path = kBinSh; // Guarded by mutex, and so is the next.
std::map<std::string, std::vector<std::string>> commands; // The answer for each path.

struct Substitute {
    const char* name;
    std::vector<std::string> options;
};
const Substitute kSubstitutes[] = {{"bash", {"--posix"}}, {"ksh", {}}, {"zsh", {"--emulate", "sh"}}};
constexpr const char* kFolders[] = {"/bin", "/usr/bin", "/usr/local/bin"};

std::string makeScratchFolder()
{
    for (const std::string& parent : {Places::varTmp(), std::string("/tmp")}) {
        std::string folder = parent + "/TrelkindShellXXXXXX";
        if (mkdtemp(folder.data()))
            return folder;
    }
    return {};
}

bool runs(const std::vector<std::string>& command, const std::string& folder)
{
    const auto process = spawn(command, folder, uniqueString());
    int status = 0;
    return process && retryInterrupted([&] { return waitpid(*process, &status, 0); }) == *process
        && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Whether both outputs of a program arrive in the file, as the scripts rely on it.
bool acceptsRedirection(std::vector<std::string> command, const std::string& folder)
{
    const std::string script = folder + "/script";
    const std::string output = folder + "/output";
    std::ignore = files::remove(output); // The first shell that is tried finds none.
    if (!files::writeFile(script, "both() { echo one; echo two >&2; }\nboth >& output\n"))
        return false;
    command.push_back(script);
    return runs(command, folder) && files::readFile(output) == "one\ntwo\n";
}

std::vector<std::string> findCommand(const std::string& shell)
{
    const std::string folder = makeScratchFolder();
    const std::vector<std::string> told = {shell};
    std::vector<std::string> found;
    if (!folder.empty() && acceptsRedirection(told, folder))
        found = told;
    for (const Substitute& substitute : kSubstitutes) {
        for (const char* place : kFolders) {
            const std::string program = std::string(place) + "/" + substitute.name;
            if (!found.empty() || access(program.c_str(), X_OK) != 0)
                continue;
            std::vector<std::string> command = {program};
            command.insert(command.end(), substitute.options.begin(), substitute.options.end());
            // Without a scratch folder nothing can be tried. The first of the list is known to work.
            if (folder.empty() || acceptsRedirection(command, folder))
                found = command;
        }
    }
    if (!folder.empty())
        std::ignore = files::remove(folder);
    return found.empty() ? told : found;
}

} // namespace

std::vector<std::string> command()
{
    // Held while the shells are tried, so that launches on other threads wait for the answer.
    const std::lock_guard lock(mutex);
    auto& known = commands[path];
    if (known.empty())
        known = findCommand(path);
    return known;
}

std::optional<std::string> bash()
{
    {
        const std::lock_guard lock(mutex);
        if (path != kBinSh)
            return std::nullopt;
    }
    for (const char* place : kFolders)
        if (std::string program = std::string(place) + "/bash"; access(program.c_str(), X_OK) == 0)
            return program;
    return std::nullopt;
}

void setPath(const std::string& newPath)
{
    const std::lock_guard lock(mutex);
    path = newPath.empty() ? kBinSh : newPath;
}

} // namespace platform::systemshell
