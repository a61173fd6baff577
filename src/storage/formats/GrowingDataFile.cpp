#include "storage/formats/GrowingDataFile.h"

#include "datafile/SVDataFileFormat.h"
#include "datafile/SVRegularFile.h"
#include "diagnostics/KRMessageCenter.h"
#include "platform/files/FileManager.h"
#include "platform/loop/Pace.h"
#include "storage/StoredArray.h"
#include "storage/bytes/StoredText.h"
#include "storage/values/ElementConversion.h"

#include <fmt/format.h>

#include <algorithm>
#include <climits>

namespace {

constexpr double kProgressInterval = 0.5; // Seconds.
constexpr int kEntriesPerLook = 64; // At the clock.
constexpr std::uint64_t kMostBytesOfEntry = INT_MAX;
constexpr std::size_t kConversionBlock = 1 << 16; // Elements; small enough to stay in the cache.

} // namespace

void GrowingDataFile::reportFormat(std::uint64_t position, const std::string& text)
{
    if (std::exchange(reported_, std::pair(position, text)) != std::pair(position, text))
        KRMessageCenter::addMessage(text);
}

// The scan.

GrowingDataFile::Scan GrowingDataFile::scanEntries(
    DataFileStream& file, const KRProgressCPP& progress, std::uint64_t start)
{
    const std::uint64_t size = file.length();
    const auto [windowSize, headerLength] = layout();
    ScanWindow window(file.descriptor(), size, windowSize);
    Scan scan;
    // Names often come in order, so that each one's place is just behind that of the one before.
    auto likelyPlace = scan.content.end();
    std::uint64_t position = start;
    std::uint64_t last = start; // Of the entry looked at last: a scan that fails is resumed there.
    bool failed = start > size;
    const double interval = platform::Pace::of(kProgressInterval).count();
    double lastProgress = OpenFiles::now();
    for (int number = 1; !failed && position < size; ++number) {
        failed = true; // Until the entry is stored.
        if (number % kEntriesPerLook == 0 && OpenFiles::now() - lastProgress > interval) {
            lastProgress = OpenFiles::now();
            progress.UpdatePercentage(static_cast<float>(
                static_cast<double>(position - start) / static_cast<double>(size - start)));
            if (progress.UserHasAborted())
                break;
        }
        if (!window.reaches(position + headerLength))
            window.moveTo(position);
        const unsigned char* bytes =
            size - position > headerLength ? window.at(position, headerLength) : nullptr;
        if (!bytes)
            break;
        Header header = headerFrom(bytes, position);
        if (header.fault == Header::Fault::Format) {
            reportFormat(position,
                number == 1 ? fmt::format("The file \"{}\" has incorrect format", lastComponent())
                            : fmt::format("The file \"{}\" has a format error in entry number {}.{}",
                                lastComponent(), number, header.faultText));
            break;
        }
        last = position;
        const bool isOfUnknownType = header.fault == Header::Fault::Type;
        if (isOfUnknownType)
            reportFormat(position, "Ran into problems reading the file (Incorrect type).");
        const std::uint64_t nameStart = position + headerLength;
        // Compared, never added: the sizes are the file's own.
        if (!header.entry || header.nameLength > size - nameStart
            || header.dataSize > size - nameStart - header.nameLength)
            break;
        if (!window.reaches(nameStart + header.nameLength))
            window.moveToName(position, headerLength);
        bytes = window.at(nameStart, header.nameLength);
        if (!bytes)
            break;
        const std::string_view stored(reinterpret_cast<const char*>(bytes), header.nameLength);
        std::string name(stored.substr(0, stored.find('\0')));
        KRDataFileEntry& entry = *header.entry;
        const std::uint64_t end = nameStart + header.nameLength + header.dataSize;
        if (header.mayHoldNumber && entry.isANumber() && window.reaches(end)
            && !keepNumber(entry, header.dataSize, window))
            break;
        found(name, entry, window);
        likelyPlace =
            std::next(scan.content.insert_or_assign(likelyPlace, std::move(name), std::move(entry)));
        if (isOfUnknownType) // It is listed, and the scan ends before it: readers stop there.
            break;
        position = end;
        failed = false;
    }
    progress.UpdatePercentage(1);
    scan.until = failed ? last : position;
    scan.endOfEntries = position;
    return scan;
}

bool GrowingDataFile::keepNumber(KRDataFileEntry& entry, std::uint64_t size, ScanWindow& window)
{
    const unsigned char* value = window.at(entry.offsetInFile(), size);
    if (!value)
        return false;
    unsigned char raw[8];
    std::copy_n(value, size, raw);
    if (needToSwap_)
        storage::swapElements(*entry.element(), raw, 1);
    entry.setNumberValue(StorageNumber::fromBytes(*entry.element(), raw));
    return true;
}

void GrowingDataFile::takeScan(Scan scan)
{
    theContent_ = std::move(scan.content);
    currentLengthOfFile_ = scan.until;
    endOfEntries_ = scan.endOfEntries;
}

std::optional<std::string> GrowingDataFile::bytesOfIndexFile(std::size_t atLeast, std::size_t below)
{
    if (!indexFileContainer_ && platform::files::exists(nameOfIndexFor(fileName_)))
        indexFileContainer_ = KRContainerFileName::createWithName(nameOfIndexFor(fileName_));
    if (!indexFileContainer_)
        return {};
    const auto file = DataFileStream::open(indexFileContainer_->fileName(), DataFileStream::Access::Read);
    const std::uint64_t size = file ? file->length() : 0;
    if (size < atLeast || size >= below)
        return {};
    std::string bytes(size, '\0');
    return file->readAt(0, bytes.data(), size) ? std::optional(std::move(bytes)) : std::nullopt;
}

void GrowingDataFile::writeIndexFile(const FileName& container, const std::string& bytes)
{
    indexFileContainer_ = container;
    // The library believes the index beside a file without asking for the file's byte order.
    if (!needToSwap_ || container->fileName() != nameOfIndexFor(fileName_))
        SVReplaceFile(container->fileName(), bytes);
}

// Following.

int GrowingDataFile::updateFile(std::int64_t untilLocation)
{
    const std::lock_guard lock(accessLock_);
    const int answer = followInsideLock(untilLocation);
    const bool cameBefore = std::exchange(caughtUp_, false);
    return answer == 0 && cameBefore ? 1 : answer;
}

int GrowingDataFile::followInsideLock(std::int64_t untilLocation)
{
    using Access = DataFileStream::Access;
    auto fresh = DataFileStream::open(fileName_, Access::ReadWrite);
    if (!fresh)
        fresh = DataFileStream::open(fileName_, Access::Read);
    if (!fresh || (identity_ && fresh->identity() != *identity_))
        return -1;
    std::uint64_t limit = fresh->length();
    if (untilLocation > 0)
        limit = std::min(limit, static_cast<std::uint64_t>(untilLocation));
    if (limit <= currentLengthOfFile_)
        return limit < currentLengthOfFile_ ? -1 : 0;
    auto scan = readContentFromFile(*fresh, {}, currentLengthOfFile_);
    if (!scan)
        return -1;
    currentLengthOfFile_ = scan->until;
    endOfEntries_ = scan->endOfEntries;
    if (!takeNew(std::move(scan->content)))
        return 0;
    setStream(std::move(fresh));
    indexFileContainer_.reset(); // It doesn't have the new ones.
    return 1;
}

// The entry before an incomplete one is looked at again, and isn't new.
bool GrowingDataFile::takeNew(Content content)
{
    bool isNew = false;
    for (auto& [name, entry] : content) {
        const KRDataFileEntry* known = find(name);
        if (known && known->isSameAs(entry))
            continue;
        theContent_.insert_or_assign(name, std::move(entry));
        isNew = true;
    }
    return isNew;
}

void GrowingDataFile::catchUp()
{
    caughtUp_ = followInsideLock(-1) == 1 || caughtUp_;
}

// Writing.

bool GrowingDataFile::removeVariables(const std::vector<std::string>& names, const KRProgressCPP&)
{
    return names.empty();
}

platform::Status GrowingDataFile::mayAppend()
{
    if (needToSwap_)
        return platform::Error{"it has the byte order of another machine"};
    return {};
}

platform::Status GrowingDataFile::isWritable(const std::string& name, std::uint64_t entrySize)
{
    if (name.size() >= kSVLongestName)
        return platform::Error{fmt::format("a name can have {} bytes at most", kSVLongestName - 1)};
    if (name.find('\0') != std::string::npos)
        return platform::Error{"a name can't hold a NUL"};
    if (entrySize > kMostBytesOfEntry)
        return platform::Error{"an entry of 2 GiB or more has no form in this format"};
    return {};
}

// Reading.

std::optional<KRDataFileEntry::Shape> GrowingDataFile::shapeOf(
    const std::string&, const KRDataFileEntry& entry)
{
    return entry.shape();
}

// Whether the file has the bytes of an entry: asked before memory is taken for them. A sparse file has any
// number of bytes, so that texts and blocks have a limit besides: that of an entry which can be written.
bool GrowingDataFile::holds(const KRDataFileEntry& entry, std::uint64_t size)
{
    const std::uint64_t length = theFile_->length();
    return size <= length && entry.offsetInFile() <= length - size;
}

bool GrowingDataFile::readBytes(
    const std::string& name, const KRDataFileEntry& entry, std::uint64_t size, void* into)
{
    if (theFile_->readAt(entry.offsetInFile(), into, size))
        return true;
    reportFailedReading(name);
    return false;
}

// Block by block, so that the stored elements need no memory of the size of the array.
bool GrowingDataFile::readConverted(const KRDataFileEntry& entry, ElementType stored, KRAnyArray& array)
{
    const auto count = static_cast<std::size_t>(array.length());
    const std::size_t storedSize = sizeOfElement(stored);
    const std::size_t size = sizeOfElement(array.type());
    auto* const elements = static_cast<unsigned char*>(array.mutableElements());
    std::vector<unsigned char> block(std::min(count, kConversionBlock) * storedSize);
    for (std::size_t done = 0; done < count;) {
        const std::size_t now = std::min(count - done, kConversionBlock);
        if (!theFile_->readAt(entry.offsetInFile() + done * storedSize, block.data(), now * storedSize))
            return false;
        if (needToSwap_)
            storage::swapElements(stored, block.data(), now);
        storage::convertElements(stored, block.data(), now, array.type(), elements + done * size);
        done += now;
    }
    return true;
}

KRAnyArray GrowingDataFile::readArray(const std::string& name, const KRDataFileEntry& entry, ElementType type)
{
    const std::uint64_t size = entry.requiredSize();
    const auto stored = entry.element();
    const auto shape = stored && !entry.isSparse() ? shapeOf(name, entry) : std::nullopt;
    if (!shape)
        return {};
    if (size > 0 && !makeSureFileIsOpen())
        return {};
    if (size > 0 && !holds(entry, size)) {
        reportFailedReading(name);
        return {};
    }
    KRAnyArray array = KRAnyArray::make(type, shape->m, shape->n, shape->o);
    if (size == 0 || !array)
        return array;
    if (static_cast<std::uint64_t>(array.length()) != entry.elementCount())
        return {};
    const bool isDirect = *stored == type;
    if (!(isDirect ? theFile_->readAt(entry.offsetInFile(), array.mutableElements(), size)
                   : readConverted(entry, *stored, array))) {
        reportFailedReading(name);
        return {};
    }
    if (isDirect && needToSwap_)
        storage::swapElements(type, array.mutableElements(), static_cast<std::size_t>(array.length()));
    return array;
}

KRAnyArray GrowingDataFile::readNativeArray(const std::string& name)
{
    const std::lock_guard lock(accessLock_);
    const KRDataFileEntry* entry = find(name);
    if (!entry || entry->isAString() || entry->isSparse())
        return {};
    if (const StorageNumber* number = entry->numberValue()) {
        KRAnyArray array = KRAnyArray::make(ElementType::Double, 1, 1, 1);
        if (array)
            number->convertTo(ElementType::Double, array.mutableElements());
        return array;
    }
    const auto type = entry->element();
    if (!type) {
        KRMessageCenter::seriousErrorMessage(fmt::format("Unexpected type ({})", entry->type()));
        return {};
    }
    KRAnyArray array = readArray(name, *entry, *type);
    if (!array)
        KRMessageCenter::seriousErrorMessage(fmt::format("Couldn't read the array {}", name));
    return array;
}

std::shared_ptr<const StoredArray> GrowingDataFile::openArray(const std::string& name)
{
    const std::lock_guard lock(accessLock_);
    const KRDataFileEntry* entry = find(name);
    const auto type = entry && !entry->isAString() && !entry->isSparse() ? entry->element() : std::nullopt;
    const auto shape = type ? shapeOf(name, *entry) : std::nullopt;
    auto file = shape ? DataFileStream::open(fileName_, DataFileStream::Access::Read) : nullptr;
    if (!file || (identity_ && file->identity() != *identity_))
        return nullptr;
    const std::uint64_t size = entry->requiredSize();
    if (size > file->length() || entry->offsetInFile() > file->length() - size
        || entry->elementCount() != static_cast<std::uint64_t>(shape->m) * shape->n * shape->o)
        return nullptr;
    return std::make_shared<StoredArray>(
        std::move(file), entry->offsetInFile(), *type, needToSwap_, Size{shape->m, shape->n, shape->o});
}

std::optional<KRDataStorage::Bytes> GrowingDataFile::readDataBlock(const std::string& name)
{
    const std::lock_guard lock(accessLock_);
    const KRDataFileEntry* entry = find(name);
    if (!entry || entry->isAString() || entry->isSparse())
        return {};
    const std::uint64_t size = entry->requiredSize();
    if (size == 0)
        return Bytes();
    if (!makeSureFileIsOpen())
        return {};
    Bytes bytes(size <= kMostBytesOfEntry && holds(*entry, size) ? size : 0);
    if (bytes.empty()) {
        reportFailedReading(name);
        return {};
    }
    return readBytes(name, *entry, size, bytes.data()) ? std::optional(std::move(bytes)) : std::nullopt;
}

std::optional<StorageNumber> GrowingDataFile::readStoredNumber(
    const std::string& name, const KRDataFileEntry& entry)
{
    const auto type = entry.element();
    unsigned char raw[8];
    if (!type || entry.isSparse() || !makeSureFileIsOpen()
        || !readBytes(name, entry, sizeOfElement(*type), raw))
        return {};
    if (needToSwap_)
        storage::swapElements(*type, raw, 1);
    return StorageNumber::fromBytes(*type, raw);
}

std::optional<std::string> GrowingDataFile::readText(const std::string& name, KRDataFileEntry& entry)
{
    if (const std::string* kept = entry.isAString() ? entry.stringValue() : nullptr)
        return *kept;
    if (entry.elementCount() == 0)
        return "";
    const std::uint64_t size = entry.requiredSize();
    const auto type = entry.element();
    if (!type || entry.isSparse() || !makeSureFileIsOpen())
        return {};
    if (size > kMostBytesOfEntry || !holds(entry, size)) {
        reportFailedReading(name);
        return {};
    }
    std::string bytes(size, '\0');
    if (!readBytes(name, entry, size, bytes.data()))
        return {};
    if (needToSwap_)
        storage::swapElements(*type, bytes.data(), entry.elementCount());
    std::string characters(entry.elementCount(), '\0');
    storage::convertElements(*type, bytes.data(), characters.size(), ElementType::UChar, characters.data());
    std::string text = storage::decodedText(characters);
    if (entry.isAString())
        entry.setStringValue(text);
    return text;
}
