#include "platform/files/Places.h"

#include "platform/ProcessInfo.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"

#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <optional>
#include <pwd.h>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>
#include <vector>

namespace platform {

namespace {

std::mutex rootMutex;
std::optional<std::string> chosenRoot; // Guarded by rootMutex; nothing until first asked for.

std::string environment(const char* name)
{
    const char* value = std::getenv(name);
    return value ? value : "";
}

std::string useRoot(const std::string& root)
{
    if (root.empty())
        return {};
    std::string path = paths::absolute(root);
    for (const char* folder : {"/home", "/var/tmp"})
        std::ignore = files::createDirectories(path + folder); // The first use reports what is wrong.
    return path;
}

std::string currentRoot()
{
    const std::lock_guard lock(rootMutex);
    if (!chosenRoot)
        chosenRoot = useRoot(environment("TRELKIND_PLACES"));
    return *chosenRoot;
}

std::string homeOfAccount()
{
    const std::string told = environment("HOME");
    if (told.starts_with('/'))
        return paths::standardizing(told);
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found && found->pw_dir)
        return found->pw_dir;
    return "/";
}

// The standard for these variables says that a relative path in one of them is ignored.
std::string absoluteFromEnvironment(const char* name)
{
    const std::string value = environment(name);
    return value.starts_with('/') ? paths::standardizing(value) : std::string();
}

// Where a user has changed to another account, the environment still names a folder of the former one.
bool isOwnFolder(const std::string& path)
{
    struct stat info { };
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == ::geteuid();
}

} // namespace

std::string Places::home()
{
    const std::string root = currentRoot();
    return root.empty() ? homeOfAccount() : root + "/home";
}

std::string Places::library()
{
    return paths::appending(home(), "Library/Trelkind");
}

std::string Places::scratch()
{
    return varTmp() + "/Trelkind-" + loginName();
}

std::string Places::varTmp()
{
    return currentRoot() + "/var/tmp";
}

std::string Places::applicationSupport()
{
    const std::string told = currentRoot().empty() ? absoluteFromEnvironment("XDG_DATA_HOME") : "";
    return told.empty() ? paths::appending(home(), ".local/share") : told;
}

std::string Places::resources()
{
    std::error_code failure;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", failure);
    return failure ? "" : (program.parent_path().parent_path() / "share/trelkind").string();
}

std::string Places::services()
{
    const std::string told = currentRoot().empty() ? absoluteFromEnvironment("XDG_RUNTIME_DIR") : "";
    return isOwnFolder(told) ? paths::appending(told, "trelkind")
                             : varTmp() + "/TrelkindServices-" + loginName();
}

void Places::setRoot(const std::string& root)
{
    const std::string path = useRoot(root);
    const std::lock_guard lock(rootMutex);
    chosenRoot = path;
}

} // namespace platform
