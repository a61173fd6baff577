#include "storage/KRDataFile.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "storage/Redirection.h"

#include <fmt/format.h>

#include <algorithm>

namespace files = platform::files;
namespace paths = platform::paths;

KRDataFile::KRDataFile() : lastFileAccess_(OpenFiles::now()) { }

// Runs when no reader has the object any more: each has a shared pointer of its own while it holds the lock.
KRDataFile::~KRDataFile()
{
    OpenFiles::shared().remove(*this);
    dropStream();
}

void KRDataFile::keepTrackOfDataFiles()
{
    OpenFiles::shared().keepTrack();
}

std::recursive_mutex& KRDataFile::lockForDataFileAccess()
{
    // Recursive: reading a stack opens its members.
    static std::recursive_mutex lock;
    return lock;
}

std::string KRDataFile::nameOfIndexFor(const std::string& path)
{
    const std::string extension = paths::extension(path);
    return path.substr(0, path.size() - (extension.empty() ? 0 : extension.size() + 1)) + ".index";
}

// Making objects.

bool KRDataFile::initWithName(const std::string& name, bool forWriting)
{
    fileName_ = name;
    allowWriting_ = forWriting;
    // Appending nothing makes the file, and leaves one alone that another program makes meanwhile.
    if (name.empty() || files::isDirectory(name) || (!files::exists(name) && !files::appendToFile(name, "")))
        return false;
    OpenFiles::shared().add(*this);
    return true;
}

bool KRDataFile::initNewFileWithName(const std::string& name)
{
    fileName_ = name;
    if (name.empty() || files::isDirectory(name) || (files::exists(name) && !files::remove(name)))
        return false;
    if (!paths::extension(name).empty() && files::exists(nameOfIndexFor(name)))
        std::ignore = files::remove(nameOfIndexFor(name));
    OpenFiles::shared().add(*this);
    return true;
}

void KRDataFile::initWithStructure(const platform::Value& structure)
{
    const auto containerFor = [&](const char* key) {
        return KRContainerFileName::createWithName(structure.textFor(key).value_or(""));
    };
    fileName_ = structure.textFor("File").value_or("");
    allowWriting_ = false;
    fileContainer_ = containerFor("File Container");
    indexFileContainer_ = containerFor("Index File Container");
    const platform::Value* length = structure.find("Length");
    currentLengthOfFile_ =
        static_cast<std::uint64_t>(std::max<std::int64_t>(length ? length->integer().value_or(0) : 0, 0));
    endOfEntries_ = currentLengthOfFile_;
    const platform::Value* content = structure.find("Content");
    if (content && content->dictionary())
        for (const auto& [name, dictionary] : *content->dictionary())
            if (const auto entry = entryFromDictionary(dictionary))
                theContent_.insert_or_assign(name, *entry);
    OpenFiles::shared().add(*this);
    auto stream = DataFileStream::open(fileName_, DataFileStream::Access::Read);
    if (!stream) {
        KRMessageCenter::seriousErrorMessage("Could not open file");
        return;
    }
    const std::lock_guard lock(accessLock_);
    setStream(std::move(stream));
}

void KRDataFile::initWithFile(Copied copied)
{
    fileName_ = std::move(copied.fileName);
    allowWriting_ = false;
    theContent_ = std::move(copied.content);
    currentLengthOfFile_ = copied.fileLength;
    endOfEntries_ = copied.endOfEntries;
    OpenFiles::shared().add(*this);
    const std::lock_guard lock(accessLock_);
    setStream(std::move(copied.stream));
}

bool KRDataFile::openAtOnce(DataFileStream::Access access)
{
    const std::lock_guard lock(accessLock_);
    auto stream = DataFileStream::open(fileName_, access);
    if (!stream) {
        stream = DataFileStream::open(fileName_, DataFileStream::Access::Read);
        allowWriting_ = false; // Opening it again must not fail for that.
    }
    if (!stream) {
        KRMessageCenter::addMessage("Could not open the file " + fileName_);
        return false;
    }
    setStream(std::move(stream));
    return true;
}

// The stream.

void KRDataFile::setStream(std::unique_ptr<DataFileStream> stream)
{
    dropStream();
    theFile_ = std::move(stream);
    isOpen_ = true;
    identity_ = theFile_->identity();
    OpenFiles::shared().opened(*this);
}

void KRDataFile::dropStream()
{
    if (!theFile_)
        return;
    closeFile();
    OpenFiles::shared().closed();
}

void KRDataFile::closeFile()
{
    theFile_.reset();
    isOpen_ = false;
}

void KRDataFile::closeIfUnusedFor(double age, double time)
{
    const std::unique_lock lock(accessLock_, std::try_to_lock);
    if (lock && time - lastFileAccess_ > age)
        dropStream();
}

bool KRDataFile::makeSureFileIsOpen()
{
    lastFileAccess_ = OpenFiles::now();
    if (theFile_)
        return true;
    using Access = DataFileStream::Access;
    auto stream = DataFileStream::open(fileName_, allowWriting_ ? Access::ReadWrite : Access::Read);
    // The places of the entries mean nothing in another file that has taken the name.
    if (!stream || (identity_ && *identity_ != stream->identity())) {
        KRMessageCenter::seriousErrorMessage(fmt::format("Could not open the file \"{}\"", fileName_));
        return false;
    }
    setStream(std::move(stream));
    return true;
}

bool KRDataFile::fileIsValid()
{
    const std::lock_guard lock(accessLock_);
    return makeSureFileIsOpen() && theFile_->isSound();
}

void KRDataFile::flush()
{
    const std::lock_guard lock(accessLock_);
    if (theFile_)
        theFile_->flush();
}

// What a format overrides.

std::optional<std::string> KRDataFile::dataFileType() const
{
    KRMessageCenter::addMessage("Internal error: Need to overwrite dataFileType");
    return {};
}

bool KRDataFile::readInContentOfFile(const KRProgressCPP&)
{
    KRMessageCenter::addMessage("Need to overwrite readInContentOfFile");
    return false;
}

std::optional<StorageNumber> KRDataFile::readStoredNumber(const std::string&, const KRDataFileEntry&)
{
    KRMessageCenter::addMessage("Need to implement readNumberInsideLock.");
    return {};
}

bool KRDataFile::removeVariables(const std::vector<std::string>&, const KRProgressCPP&)
{
    KRMessageCenter::addMessage("Need to overwrite removeVariables");
    return false;
}

void KRDataFile::createIndexFile(const FileName&)
{
    KRMessageCenter::addMessage("generateIndexFile called for KRDataFile");
}

int KRDataFile::updateFile(std::int64_t)
{
    return 0;
}

std::shared_ptr<KRDataFile> KRDataFile::copyOn(Copied)
{
    KRMessageCenter::addMessage("Internal error, can not take a copy of this type of data file.");
    return nullptr;
}

std::optional<KRDataFileEntry> KRDataFile::entryFromDictionary(const platform::Value&) const
{
    return {};
}

platform::Value KRDataFile::dictionaryOf(const KRDataFileEntry&) const
{
    return {};
}

KRDataStorage::Size KRDataFile::sizeOf(const std::string&, const KRDataFileEntry& entry)
{
    return {entry.m(), entry.n(), entry.o()};
}

// The content.

bool KRDataFile::openFileWithProgress(const KRProgressCPP& progress)
{
    const std::lock_guard lock(accessLock_);
    const std::lock_guard oneFileAtATime(lockForDataFileAccess());
    return readInContentOfFile(progress);
}

KRDataFileEntry* KRDataFile::find(const std::string& name)
{
    const auto place = theContent_.find(name);
    return place == theContent_.end() ? nullptr : &place->second;
}

bool KRDataFile::contains(const std::optional<std::string>& name)
{
    if (!name) {
        KRMessageCenter::addMessage("KRDataFile contains:name : name==nil.");
        return false;
    }
    const std::lock_guard lock(accessLock_);
    return find(*name) != nullptr;
}

bool KRDataFile::hasEntryThat(const std::string& name, bool (KRDataFileEntry::*answers)() const)
{
    const std::lock_guard lock(accessLock_);
    const KRDataFileEntry* entry = find(name);
    return entry && (entry->*answers)();
}

bool KRDataFile::isAString(const std::string& name)
{
    return hasEntryThat(name, &KRDataFileEntry::isAString);
}

bool KRDataFile::isAFloatArray(const std::string& name)
{
    return hasEntryThat(name, &KRDataFileEntry::isAFloatArray);
}

bool KRDataFile::isADoubleArray(const std::string& name)
{
    return hasEntryThat(name, &KRDataFileEntry::isADoubleArray);
}

bool KRDataFile::isAnIntArray(const std::string& name)
{
    return hasEntryThat(name, &KRDataFileEntry::isAnIntArray);
}

bool KRDataFile::isANumber(const std::string& name)
{
    return hasEntryThat(name, &KRDataFileEntry::isANumber);
}

std::vector<std::string> KRDataFile::variablesWithPrefix(const std::string& prefix)
{
    const std::lock_guard lock(accessLock_);
    std::vector<std::string> names;
    if (prefix.empty())
        names.reserve(theContent_.size());
    for (auto place = theContent_.lower_bound(prefix);
         place != theContent_.end() && place->first.starts_with(prefix); ++place)
        names.push_back(place->first);
    return names;
}

std::optional<std::string> KRDataFile::resolveNameAllowingRedirection(const std::string& name)
{
    const std::lock_guard lock(accessLock_);
    return storage::endOfRedirections(name, [this](const std::string& current) -> std::optional<std::string> {
        KRDataFileEntry* const entry = find(current);
        return entry && entry->isAString() ? readText(current, *entry) : std::nullopt;
    });
}

std::optional<KRDataStorage::Size> KRDataFile::getSizeOfVariable(const std::string& name)
{
    const std::lock_guard lock(accessLock_);
    const KRDataFileEntry* entry = find(name);
    return entry ? std::optional(sizeOf(name, *entry)) : std::nullopt;
}

// Reading.

void KRDataFile::reportFailedReading(const std::string& name) const
{
    KRMessageCenter::addMessage(fmt::format("Failed at reading \"{}\" from file \"{}\"", name, fileName_));
}

std::optional<StorageNumber> KRDataFile::readNumber(const std::string& name)
{
    const std::lock_guard lock(accessLock_);
    return readNumberInsideLock(name);
}

std::optional<StorageNumber> KRDataFile::readNumberInsideLock(const std::string& name)
{
    const KRDataFileEntry* entry = find(name);
    if (!entry || !entry->isANumber())
        return {};
    const StorageNumber* kept = entry->numberValue();
    return kept ? std::optional(*kept) : readStoredNumber(name, *entry);
}

KRAnyArray KRDataFile::readArrayOfType(ElementType type, const std::string& name)
{
    const std::lock_guard lock(accessLock_);
    const KRDataFileEntry* entry = find(name);
    if (!entry || entry->isAString())
        return {};
    const StorageNumber* kept = entry->isANumber() ? entry->numberValue() : nullptr;
    if (!kept)
        return readArray(name, *entry, type);
    KRAnyArray array = KRAnyArray::make(type, 1, 1, 1);
    if (array)
        kept->convertTo(type, array.mutableElements());
    return array;
}

KRAnyArray KRDataFile::readArray(const std::string&, const KRDataFileEntry&, ElementType)
{
    return {};
}

std::optional<std::string> KRDataFile::readRawString(const std::string& name)
{
    const std::lock_guard lock(accessLock_);
    KRDataFileEntry* const entry = find(name);
    return entry ? readText(name, *entry) : std::nullopt;
}

std::optional<std::string> KRDataFile::readText(const std::string&, KRDataFileEntry&)
{
    return {};
}

// Plain facts.

std::string KRDataFile::lastComponent() const
{
    return paths::lastComponent(fileName_);
}

std::string KRDataFile::fileName()
{
    const std::lock_guard lock(accessLock_);
    return fileName_;
}

KRDataFile::FileName KRDataFile::fileContainer()
{
    const std::lock_guard lock(accessLock_);
    return fileContainer_;
}

void KRDataFile::setFileContainer(const FileName& container)
{
    const std::lock_guard lock(accessLock_);
    fileContainer_ = container;
}

void KRDataFile::setIndexFileContainer(const FileName& container)
{
    const std::lock_guard lock(accessLock_);
    indexFileContainer_ = container;
}

KRDataFile::FileName KRDataFile::temporaryIndexFile()
{
    const auto name = KRContainerFileName::checkOutTemporaryName();
    const FileName container =
        name ? KRContainerFileName::createWithTemporaryFile(*name + ".index") : nullptr;
    if (container)
        createIndexFile(container);
    return container;
}

KRDataFile::FileName KRDataFile::indexFileContainer()
{
    {
        const std::lock_guard lock(accessLock_);
        if (indexFileContainer_)
            return indexFileContainer_;
    }
    const FileName container = temporaryIndexFile();
    const std::lock_guard lock(accessLock_);
    indexFileContainer_ = container;
    return container;
}

KRDataFile::FileName KRDataFile::createIndexFileContainerIfNeeded()
{
    return indexFileContainer();
}

bool KRDataFile::indexFileUpToDate()
{
    const std::lock_guard lock(accessLock_);
    return indexFileUpToDate_;
}

void KRDataFile::removeIndexFile()
{
    if (!indexFileUpToDate_)
        return;
    std::ignore = files::remove(nameOfIndexFor(fileName_));
    indexFileUpToDate_ = false;
}

void KRDataFile::deleteFileFromDisk()
{
    const std::lock_guard lock(accessLock_);
    std::ignore = files::remove(fileName_);
    fileName_.clear();
    theContent_.clear();
    removeIndexFile();
}

KRDataFile::Listing KRDataFile::theContent()
{
    const std::lock_guard lock(accessLock_);
    for (auto& [name, entry] : theContent_)
        if (entry.isAString() && !entry.stringValue())
            readText(name, entry);
    return {theContent_.begin(), theContent_.end()};
}

std::string KRDataFile::description()
{
    const std::lock_guard lock(accessLock_);
    const std::size_t count = theContent_.size();
    const char* const more = listingNamesContent() && count > 0 ? " (theContent for full listing)" : "";
    if (count == 0)
        return fmt::format("\"{}\" with no entries", lastComponent());
    return fmt::format("\"{}\" with {} {}{}", lastComponent(), count, count == 1 ? "entry" : "entries", more);
}

platform::Value KRDataFile::structureInsideLock(platform::Value content)
{
    const auto type = dataFileType();
    if (!type || fileName_.empty())
        return {};
    platform::Value::Dictionary structure;
    structure["Type"] = *type;
    structure["Content"] = std::move(content);
    structure["File"] = fileName_;
    structure["Length"] = static_cast<std::int64_t>(currentLengthOfFile_);
    if (indexFileContainer_)
        structure["Index File Container"] = indexFileContainer_->fileName();
    if (fileContainer_)
        structure["File Container"] = fileContainer_->fileName();
    return structure;
}

platform::Value KRDataFile::structure()
{
    const std::lock_guard lock(accessLock_);
    platform::Value::Dictionary content;
    for (const auto& [name, entry] : theContent_)
        content[name] = dictionaryOf(entry);
    return structureInsideLock(std::move(content));
}
