#include "temporary/TemporaryFiles.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "platform/files/Places.h"
#include "temporary/RemoveEverything.h"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>

namespace files = platform::files;
namespace paths = platform::paths;

namespace {

std::string parentOfInstances()
{
    return paths::appending(platform::Places::applicationSupport(), "com.kelmont.trelkind/FilesAndFolders");
}

// The path with the last component up to its first dot.
std::string withoutEndings(const std::string& path)
{
    const std::string name = paths::lastComponent(path);
    return paths::appending(paths::deletingLastComponent(path), name.substr(0, name.find('.')));
}

// Made before main(), so on the main thread: when a worker is the first user, the notice of the process's end
// still finds its observer, whether or not the main loop has run since.
[[maybe_unused]] const TemporaryFiles& madeEarly = TemporaryFiles::shared();

} // namespace

std::string TemporaryFiles::Names::checkOut()
{
    if (possible_.empty())
        return checkOutNew();
    const std::string name = possible_.front();
    possible_.pop_front();
    return *outstanding_.insert(name).first;
}

std::string TemporaryFiles::Names::checkOutNew()
{
    return *outstanding_.insert(paths::appending(folder_, fmt::format("{}{}", prefix_, next_++))).first;
}

void TemporaryFiles::Names::free(const std::string& name)
{
    outstanding_.erase(name);
    possible_.push_back(name);
}

void TemporaryFiles::Names::forget(const std::string& name)
{
    outstanding_.erase(name);
    std::erase(possible_, name);
}

TemporaryFiles& TemporaryFiles::shared()
{
    static auto* service = new TemporaryFiles;
    return *service;
}

TemporaryFiles::TemporaryFiles(temporary::Clock clock)
    : clock_(std::move(clock)),
      termination_(platform::NotificationCenter::defaultCenter().observe(
          platform::kApplicationWillTerminate, [this](const auto&) { appWillTerminate(); }))
{ }

TemporaryFiles::~TemporaryFiles() = default;

std::string TemporaryFiles::directory()
{
    std::unique_lock lock(directoryLock_);
    if (maker_ == std::this_thread::get_id() && !isMade_) {
        // A message of the cleaning, whose log lies in this directory.
        const std::string path = directory_ ? directory_->path() : "";
        lock.unlock();
        KRMessageCenter::addMessage(nullptr);
        return path;
    }
    if (maker_ != std::thread::id()) {
        directoryMade_.wait(lock, [this] { return isMade_; });
        return directory_->path();
    }
    maker_ = std::this_thread::get_id();
    lock.unlock();

    auto made = std::make_unique<temporary::InstanceDirectory>(parentOfInstances(), clock_);
    temporary::InstanceDirectory& own = *made;
    lock.lock();
    directory_ = std::move(made);
    lock.unlock();
    own.sweepOthers();
    startHeartbeat();
    lock.lock();
    isMade_ = true;
    directoryMade_.notify_all();
    return own.path();
}

// Timers belong to the main thread, which may have given the object up when it comes to this.
void TemporaryFiles::startHeartbeat()
{
    platform::MainLoop::main().post([this, life = std::weak_ptr(life_)] {
        if (!life.expired())
            heartbeat_ = platform::Timer::schedule(temporary::InstanceDirectory::kHeartbeatInterval,
                platform::Timer::Repeats::Yes, [this] { heartBeat(); });
    });
}

bool TemporaryFiles::hasDirectory() const
{
    const std::lock_guard guard(directoryLock_);
    return directory_ != nullptr;
}

void TemporaryFiles::heartBeat()
{
    if (hasDirectory())
        directory_->heartBeat();
}

void TemporaryFiles::appWillTerminate()
{
    if (hasDirectory())
        temporary::deleteDirectory(directory());
}

void TemporaryFiles::initialize()
{
    {
        const std::lock_guard guard(conversionLock_);
        if (files_)
            return;
    }
    const std::string path = directory();
    if (!files::isDirectory(path)) {
        KRMessageCenter::addMessage(nullptr);
        std::ignore = files::createDirectories(path, files::kOwnersFolder);
    }
    const std::lock_guard guard(conversionLock_);
    if (files_)
        return;
    files_.emplace(directory_->filesFolder(), 'F');
    folders_.emplace(directory_->foldersFolder(), 'D');
    for (const std::string& folder : {files_->folder(), folders_->folder()}) {
        temporary::removeEverything(folder);
        std::ignore = files::createDirectory(folder, files::kOwnersFolder);
    }
}

std::optional<std::string> TemporaryFiles::checkOutFile()
{
    {
        const std::lock_guard guard(conversionLock_);
        if (files_)
            return files_->checkOut();
    }
    KRMessageCenter::addMessage(nullptr);
    return std::nullopt;
}

bool TemporaryFiles::handBackFile(const std::string& name, const std::vector<std::string>& additionalEndings)
{
    const std::string registered = withoutEndings(name);
    bool isLeft = false;
    {
        const std::lock_guard guard(conversionLock_);
        if (!files_ || !files_->isOutstanding(registered))
            return false;
        // Each ending asks for one more removal of the file itself; the side files stay.
        for (std::size_t ending = 0; ending < additionalEndings.size(); ++ending)
            std::ignore = files::remove(name);
        isLeft = files::exists(name) && !files::remove(name) && files::exists(name);
        if (!isLeft)
            files_->free(registered);
    }
    if (isLeft)
        KRMessageCenter::addMessage(
            fmt::format("Internal: Could not delete the file \"{}\".", paths::lastComponent(name)),
            fmt::format("When returning a temporary file, Could not delete the file \"{}\".", name));
    return true;
}

std::optional<std::string> TemporaryFiles::checkOutFolder()
{
    for (const bool isFirstTry : {true, false}) {
        std::string name;
        {
            const std::lock_guard guard(conversionLock_);
            if (!folders_)
                return std::nullopt;
            name = isFirstTry ? folders_->checkOut() : folders_->checkOutNew();
        }
        if (files::createDirectory(name, files::kOwnersFolder))
            return name;
        {
            const std::lock_guard guard(conversionLock_);
            folders_->forget(name);
        }
        KRMessageCenter::addMessage(isFirstTry
                ? "Internal error: Could not create a temporary folder"
                : "Could not create a temporary folder, check to make sure that the /var/tmp/ directory is "
                  "writeable.");
    }
    return std::nullopt;
}

void TemporaryFiles::handBackFolder(const std::string& name)
{
    std::string problem;
    {
        const std::lock_guard guard(conversionLock_);
        if (!folders_ || !folders_->isOutstanding(name))
            problem = "Internal error for conversion: Trying to hand back an invalid folder.";
        else if (temporary::removeEverything(name))
            folders_->free(name);
        else {
            folders_->forget(name);
            problem = "Internal Error: Could not remove a temporary folder";
        }
    }
    if (!problem.empty())
        KRMessageCenter::addMessage(problem);
}
