#include "temporary/KRContainerFileName.h"

#include "diagnostics/Exception.h"
#include "diagnostics/KRMessageCenter.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "platform/loop/MainLoop.h"
#include "temporary/KRContainerFileNameDownloadServer.h"
#include "temporary/RemoveEverything.h"
#include "temporary/TemporaryFiles.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <thread>
#include <tuple>

namespace paths = platform::paths;

std::shared_ptr<KRContainerFileName> KRContainerFileName::createWithName(const std::string& name)
{
    return createWithName(name, std::vector<std::string>());
}

std::shared_ptr<KRContainerFileName> KRContainerFileName::createWithName(
    const std::string& name, std::vector<std::string> checkExtensions)
{
    if (name.empty())
        return nullptr;
    return std::shared_ptr<KRContainerFileName>(
        new KRContainerFileName(paths::standardizing(name), false, std::move(checkExtensions)));
}

std::shared_ptr<KRContainerFileName> KRContainerFileName::createWithTemporaryFile(const std::string& name)
{
    if (name.empty())
        return nullptr;
    return std::shared_ptr<KRContainerFileName>(new KRContainerFileName(name, true, {}));
}

std::shared_ptr<KRContainerFileName> KRContainerFileName::createEmpty()
{
    return createWithName("");
}

KRContainerFileName::KRContainerFileName(
    std::string name, bool isTemporary, std::vector<std::string> additionalEndings)
    : fileName_(std::move(name)), temporaryFile_(isTemporary), responsibleForRemovingFile_(isTemporary),
      additionalEndings_(std::move(additionalEndings))
{
    resetFileSize();
    if (isTemporary)
        stackWhenCreated_ = diagnostics::callStackSymbols();
}

KRContainerFileName::~KRContainerFileName()
{
    if (!responsibleForRemovingFile_ || !temporaryFile_
        || stoppedUsingTemporaryFile(fileName_, additionalEndings_))
        return;
    constexpr const char* kProblem = "Internal error: Trying to hand back an invalid file.";
    if (stackWhenCreated_.empty())
        KRMessageCenter::seriousErrorMessage(kProblem);
    else
        KRMessageCenter::addMessage(kProblem,
            fmt::format("last stack = \n{}\n stack now = \n{}", fmt::join(stackWhenCreated_, "\n"),
                fmt::join(diagnostics::callStackSymbols(), "\n")));
}

void KRContainerFileName::resetFileSize()
{
    fileSize_ = platform::files::size(fileName_).value_or(0);
}

std::string KRContainerFileName::description() const
{
    return temporaryFile_ ? "Tmp File : " + fileName_ : fileName_;
}

std::uint64_t KRContainerFileName::memoryUsed() const
{
    return responsibleForRemovingFile_ ? fileSize_ : 0;
}

std::optional<double> KRContainerFileName::returnParameter(std::string_view name) const
{
    if (name == "File Size")
        return static_cast<double>(fileSize_);
    return std::nullopt;
}

std::string KRContainerFileName::nameOfGlobalTemporaryDirectory()
{
    return TemporaryFiles::shared().directory();
}

void KRContainerFileName::initializeTemporary()
{
    TemporaryFiles::shared().initialize();
}

bool KRContainerFileName::hasBeenInitialized()
{
    return TemporaryFiles::shared().hasDirectory();
}

std::optional<std::string> KRContainerFileName::checkOutTemporaryName()
{
    return TemporaryFiles::shared().checkOutFile();
}

bool KRContainerFileName::stoppedUsingTemporaryFile(const std::optional<std::string>& name)
{
    return stoppedUsingTemporaryFile(name, {});
}

bool KRContainerFileName::stoppedUsingTemporaryFile(
    const std::optional<std::string>& name, const std::vector<std::string>& additionalEndings)
{
    return !name || TemporaryFiles::shared().handBackFile(*name, additionalEndings);
}

std::optional<std::string> KRContainerFileName::checkOutTemporaryFolder()
{
    return TemporaryFiles::shared().checkOutFolder();
}

void KRContainerFileName::stoppedUsingTemporaryFolder(const std::optional<std::string>& name)
{
    if (name)
        TemporaryFiles::shared().handBackFolder(*name);
}

void KRContainerFileName::deleteDirectory(const std::optional<std::string>& path)
{
    if (path)
        temporary::deleteDirectory(*path);
    else
        KRMessageCenter::addMessage(nullptr);
}

void KRContainerFileName::removeTemporaryDirectory()
{
    TemporaryFiles::shared().appWillTerminate();
}

void KRContainerFileName::heartBeat()
{
    TemporaryFiles::shared().heartBeat();
}

void KRContainerFileName::checkOrphansAndCallMeBack(
    std::shared_ptr<KRContainerFileNameOrphanCheckDelegate> delegate)
{
    if (!delegate) {
        KRMessageCenter::addMessage(nullptr);
        return;
    }
    if (!hasBeenInitialized()) {
        KRMessageCenter::seriousErrorMessage("should not call this before it is initialized");
        initializeTemporary();
    }
    std::thread([delegate = std::move(delegate), own = nameOfGlobalTemporaryDirectory()]() mutable {
        const std::string parent = paths::deletingLastComponent(own);
        std::uint64_t total = 0; // Goes to nobody: the dictionary of the call is empty.
        for (const std::string& name : platform::files::contentsOfDirectory(parent).value_or({}))
            if (const std::string path = paths::appending(parent, name); path != own)
                total += platform::files::isDirectory(path) ? sizeOfDirectory(path) : 0;
        std::ignore = total;
        platform::MainLoop::main().post([delegate = std::move(delegate)] {
            delegate->callbackFromOrphanCheck(platform::Value(platform::Value::Dictionary()));
        });
    }).detach();
}

std::uint64_t KRContainerFileName::sizeOfDirectory(const std::string& path)
{
    return temporary::sizeOfDirectory(path);
}

void KRContainerFileName::addToTheDestructionQueAndRelease(std::shared_ptr<KRContainerFileName> object)
{
    object.reset();
}

std::mutex& KRContainerFileName::inputLockForPath(const std::string& /*path*/)
{
    static std::mutex globalInputLock;
    return globalInputLock;
}

void KRContainerFileName::downloadURL(
    const std::string& url, std::shared_ptr<KRContainerFileNameDownloadDelegate> callback)
{
    KRContainerFileNameDownloadServer::shared().download(url, std::move(callback));
}
