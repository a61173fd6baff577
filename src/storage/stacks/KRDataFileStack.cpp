#include "storage/stacks/KRDataFileStack.h"

#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "storage/formats/GrowingDataFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <set>

namespace files = platform::files;
namespace paths = platform::paths;

namespace {

constexpr std::string_view kMemberExtensions[] = {"mat", "svbin", "svascii", "svdata"};

// The folders that this thread is reading: a stack that holds itself by a link would never end.
class FolderBeingRead {
public:
    explicit FolderBeingRead(const std::string& path)
    {
        std::error_code failure;
        path_ = std::filesystem::canonical(path, failure).string();
        entered_ = !failure && folders().insert(path_).second;
    }
    ~FolderBeingRead()
    {
        if (entered_)
            folders().erase(path_);
    }
    FolderBeingRead(const FolderBeingRead&) = delete;
    FolderBeingRead& operator=(const FolderBeingRead&) = delete;
    bool isNew() const { return entered_; }

private:
    static std::set<std::string>& folders()
    {
        thread_local std::set<std::string> folders;
        return folders;
    }
    std::string path_;
    bool entered_ = false;
};

KRDataFile::Pointer openMember(const std::string& path, const KRProgressCPP& progress)
{
    if (paths::extension(path) == "svdata")
        return KRDataFile::openFileContainer(KRContainerFileName::createWithName(path), progress);
    // The index goes with the data file; the member finds it by itself.
    return KRDataFile::openFileContainer(KRContainerFileName::createWithName(path, {"index"}), progress);
}

// A member as it is now; null for one that can't be opened. `known` is the open file, null for none.
KRDataFile::Pointer renewed(
    const KRDataFile::Pointer& known, const std::string& path, bool isTouched, bool& hasChanged)
{
    const bool isFollowed =
        dynamic_cast<GrowingDataFile*>(known.get()) || dynamic_cast<KRDataFileStack*>(known.get());
    if (!isFollowed && !isTouched)
        return known;
    const int answer = isFollowed ? known->updateFile() : -1;
    KRDataFile::Pointer now = answer < 0 ? openMember(path, {}) : known;
    hasChanged = hasChanged || answer > 0 || now != known;
    return now;
}

std::uint64_t lengthOf(const std::vector<KRDataFile::Pointer>& files)
{
    std::uint64_t length = 0;
    for (const auto& file : files)
        length += file->fileSizeInBytes();
    return length;
}

// What tells of a change without opening the file.
std::pair<std::uint64_t, double> lookAt(const std::string& path)
{
    const auto found = files::attributes(path).value_or(platform::FileAttributes());
    return {found.size, found.modified};
}

} // namespace

std::shared_ptr<KRDataFileStack> KRDataFileStack::createWithName(const std::string& name)
{
    auto stack = std::make_shared<KRDataFileStack>(Private{});
    stack->fileName_ = name;
    return stack;
}

std::shared_ptr<KRDataFileStack> KRDataFileStack::createWithStructure(const platform::Value& structure)
{
    auto stack = createWithName(structure.textFor("File").value_or(""));
    const platform::Value* length = structure.find("Length");
    stack->currentLengthOfFile_ =
        static_cast<std::uint64_t>(std::max<std::int64_t>(length ? length->integer().value_or(0) : 0, 0));
    const platform::Value* content = structure.find("Content");
    if (content && content->array())
        for (const platform::Value& member : *content->array())
            if (auto file = KRDataFile::createFromStructure(member))
                stack->dataFiles_.push_back(std::move(file));
    return stack;
}

std::vector<std::string> KRDataFileStack::pathsOfMembers() const
{
    std::vector<std::string> found;
    const auto names = files::contentsOfDirectory(fileName_);
    if (!names)
        return found;
    for (const std::string& name : *names) {
        const std::string extension = paths::extension(name);
        if (std::find(std::begin(kMemberExtensions), std::end(kMemberExtensions), extension)
            != std::end(kMemberExtensions))
            found.push_back(paths::standardizing(paths::appending(fileName_, name)));
    }
    std::sort(found.begin(), found.end());
    return found;
}

bool KRDataFileStack::readInContentOfFile(const KRProgressCPP& progress)
{
    dataFiles_.clear();
    looks_.clear();
    const FolderBeingRead folder(fileName_);
    if (folder.isNew())
        for (const std::string& path : pathsOfMembers()) {
            looks_[path] = lookAt(path);
            if (auto member = openMember(path, progress))
                dataFiles_.push_back(std::move(member));
        }
    currentLengthOfFile_ = lengthOf(dataFiles_);
    return true;
}

int KRDataFileStack::updateFile()
{
    if (!files::isDirectory(fileName_))
        return -1;
    const FolderBeingRead folder(fileName_);
    if (!folder.isNew())
        return 0;
    // The members have locks of their own, which are never taken under this one here.
    std::unique_lock lock(accessLock_);
    const std::vector<Pointer> known = dataFiles_;
    const Looks looksBefore = looks_;
    lock.unlock();
    std::map<std::string, Pointer> before;
    for (const Pointer& member : known)
        before.emplace(member->fileName(), member);
    std::vector<Pointer> now;
    Looks looks;
    bool hasChanged = false;
    for (const std::string& path : pathsOfMembers()) {
        const auto found = before.find(path);
        const auto look = looks.emplace(path, lookAt(path)).first;
        const auto lookBefore = looksBefore.find(path);
        const bool isTouched = lookBefore == looksBefore.end() || lookBefore->second != look->second;
        if (auto member =
                renewed(found == before.end() ? nullptr : found->second, path, isTouched, hasChanged))
            now.push_back(std::move(member));
    }
    hasChanged = hasChanged || now.size() != before.size();
    const std::uint64_t length = lengthOf(now);
    lock.lock();
    currentLengthOfFile_ = length;
    dataFiles_ = std::move(now);
    looks_ = std::move(looks);
    return hasChanged ? 1 : 0;
}

std::vector<KRDataFile::Pointer> KRDataFileStack::members()
{
    const std::lock_guard lock(accessLock_);
    return dataFiles_;
}

platform::Value KRDataFileStack::structure()
{
    platform::Value::Array content;
    for (const Pointer& member : members())
        content.push_back(member->structure());
    const std::lock_guard lock(accessLock_);
    platform::Value structure = structureInsideLock(std::move(content));
    structure.mutableDictionary().erase("File Container"); // A folder has none.
    return structure;
}

std::string KRDataFileStack::description()
{
    const std::size_t count = members().size();
    const std::string name = paths::lastComponent(fileName());
    if (count == 0)
        return fmt::format("\"{}\" with no entries", name);
    return fmt::format(
        "\"{}\" with {} {} (theContent for full listing)", name, count, count == 1 ? "entry" : "entries");
}

KRDataFile::Listing KRDataFileStack::theContent()
{
    Listing all;
    for (const Pointer& member : members()) {
        Listing part = member->theContent();
        std::move(part.begin(), part.end(), std::back_inserter(all));
    }
    return all;
}

KRDataFile::Pointer KRDataFileStack::fileWithVariable(const std::string& name)
{
    for (const Pointer& member : members())
        if (member->contains(name))
            return member;
    return nullptr;
}

bool KRDataFileStack::contains(const std::optional<std::string>& name)
{
    return name ? fileWithVariable(*name) != nullptr : KRDataFile::contains(name);
}

bool KRDataFileStack::isAString(const std::string& name)
{
    const Pointer file = fileWithVariable(name);
    return file && file->isAString(name);
}

bool KRDataFileStack::isAFloatArray(const std::string& name)
{
    const Pointer file = fileWithVariable(name);
    return file && file->isAFloatArray(name);
}

bool KRDataFileStack::isADoubleArray(const std::string& name)
{
    const Pointer file = fileWithVariable(name);
    return file && file->isADoubleArray(name);
}

bool KRDataFileStack::isAnIntArray(const std::string& name)
{
    const Pointer file = fileWithVariable(name);
    return file && file->isAnIntArray(name);
}

bool KRDataFileStack::isANumber(const std::string& name)
{
    const Pointer file = fileWithVariable(name);
    return file && file->isANumber(name);
}

std::vector<std::string> KRDataFileStack::variablesWithPrefix(const std::string& prefix)
{
    std::set<std::string> names;
    for (const Pointer& member : members())
        for (std::string& name : member->variablesWithPrefix(prefix))
            names.insert(std::move(name));
    return {names.begin(), names.end()};
}

std::optional<std::string> KRDataFileStack::resolveNameAllowingRedirection(const std::string& name)
{
    const Pointer file = fileWithVariable(name);
    return file ? file->resolveNameAllowingRedirection(name) : name;
}

std::optional<KRDataStorage::Size> KRDataFileStack::getSizeOfVariable(const std::string& name)
{
    const Pointer file = fileWithVariable(name);
    return file ? file->getSizeOfVariable(name) : std::nullopt;
}

// The first answer that isn't empty, of the members with that variable: the others would report.
template <class Question>
auto KRDataFileStack::firstAnswer(const std::string& name, Question question)
{
    for (const Pointer& member : members())
        if (member->contains(name))
            if (auto answer = question(*member))
                return answer;
    return decltype(question(*this)){};
}

std::optional<StorageNumber> KRDataFileStack::readNumber(const std::string& name)
{
    return firstAnswer(name, [&](KRDataFile& member) { return member.readNumber(name); });
}

KRAnyArray KRDataFileStack::readArrayOfType(ElementType type, const std::string& name)
{
    return firstAnswer(name, [&](KRDataFile& member) { return member.readArrayOfType(type, name); });
}

KRAnyArray KRDataFileStack::readNativeArray(const std::string& name)
{
    return firstAnswer(name, [&](KRDataFile& member) { return member.readNativeArray(name); });
}

std::shared_ptr<const StoredArray> KRDataFileStack::openArray(const std::string& name)
{
    return firstAnswer(name, [&](KRDataFile& member) { return member.openArray(name); });
}

std::optional<KRDataStorage::Bytes> KRDataFileStack::readDataBlock(const std::string& name)
{
    return firstAnswer(name, [&](KRDataFile& member) { return member.readDataBlock(name); });
}

std::optional<std::string> KRDataFileStack::readRawString(const std::string& name)
{
    return firstAnswer(name, [&](KRDataFile& member) { return member.readRawString(name); });
}

bool KRDataFileStack::writeTypedArray(const KRAnyArray& array, const std::string& withName)
{
    const bool isByte = array.type() == ElementType::Character || array.type() == ElementType::UChar;
    return isByte && KRDataStorage::writeTypedArray(array, withName);
}
