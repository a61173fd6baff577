#include "storage/formats/KRDataFileBinary.h"

#include "datafile/SVDataFileFormat.h"
#include "datafile/SVFile.h"
#include "diagnostics/KRMessageCenter.h"

#include "storage/formats/EntryDictionary.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

namespace {

using enum ElementType;

// By an entry's type.
constexpr KREntryRow kRows[] = {
    // clang-format off
    {Double,    false, true,  false, "double",             "double precision"},
    {Float,     true,  false, false, "float",              "single precision"},
    {Int,       false, false, true,  "int",                "4 byte integer"},
    {Short,     false, false, true,  "short int",          "2 byte signed integer"},
    {UShort,    false, false, true,  "unsigned short int", "2 byte unsigned integer"},
    {Character, false, false, true,  "char",               "1 byte integer"},
    {UChar,     false, false, true,  "unsigned char",      "1 byte unsigned integer"},
    {UChar,     false, false, true,  nullptr,              nullptr},
    // clang-format on
};
constexpr KREntryFormat kEntries{kRows, std::size(kRows), true, "An unknown object"};

// The codes of the format. A scan gives texts the type of unsigned bytes, so that an index made of them has
// arrays in their place: readers have come to depend on it.
constexpr std::int8_t kCodes[std::size(kRows)] = {1, 2, 8, 10, 9, 12, 11, 20};

std::uint8_t typeOfCode(int code)
{
    return static_cast<std::uint8_t>(std::find(std::begin(kCodes), std::end(kCodes), code) - kCodes);
}

constexpr std::size_t kShortText = 40; // Shorter ones are kept.
constexpr std::uint64_t kWindow = 256; // Bytes.

using Shape = KRDataFileEntry::Shape;

Shape shapeWritten(const KRAnyArray& array)
{
    if (array.length() == 0 && !kSVApplicationDialect.keepsDimensionsOfEmpty)
        return {0, 0, 0};
    return {static_cast<std::uint32_t>(array.m()), static_cast<std::uint32_t>(array.n()),
        static_cast<std::uint32_t>(array.o())};
}

} // namespace

// Entries.

KRDataFileEntry KRDataFileBinaryEntry::createArrayAt(
    std::uint64_t offset, std::uint8_t type, std::uint32_t m, std::uint32_t n, std::uint32_t o)
{
    return {kEntries, offset, type, false, false, {m, n, o}};
}

KRDataFileEntry KRDataFileBinaryEntry::createStringAt(
    std::uint64_t offset, std::uint8_t type, std::uint32_t m, std::uint32_t n, std::uint32_t o)
{
    return {kEntries, offset, type, true, false, {m, n, o}};
}

KRDataFileEntry KRDataFileBinaryEntry::createSparseArrayAt(
    std::uint64_t offset, std::uint8_t type, std::uint32_t m, std::uint32_t n, std::uint32_t o)
{
    return createArrayAt(offset, type, m, n, o);
}

platform::Value KRDataFileBinaryEntry::dictionaryForm(const KRDataFileEntry& entry)
{
    return storage::entryDictionary(entry, true);
}

std::optional<KRDataFileEntry> KRDataFileBinaryEntry::createFromDictionary(const platform::Value& dictionary)
{
    const auto parts = storage::partsOfEntryDictionary(dictionary, true);
    // The last type is left out, though entries have it: programs that send dictionaries count on it.
    if (!parts || parts->isSparse || parts->type >= KRDataFileBinaryEntry::kStringType)
        return {};
    KRDataFileEntry entry(kEntries, parts->offset, parts->type, parts->isAString, false, parts->shape);
    storage::takeCachedNumber(dictionary, entry);
    return entry;
}

// Making objects.

std::shared_ptr<KRDataFileBinary> KRDataFileBinary::createWithName(const std::string& name)
{
    auto file = createWithName(name, true);
    return file && file->openAtOnce(DataFileStream::Access::ReadWrite) ? file : nullptr;
}

std::shared_ptr<KRDataFileBinary> KRDataFileBinary::createWithName(const std::string& name, bool forWriting)
{
    auto file = std::make_shared<KRDataFileBinary>(Private{});
    return file->initWithName(name, forWriting) ? file : nullptr;
}

std::shared_ptr<KRDataFileBinary> KRDataFileBinary::createNewFileWithName(const std::string& name)
{
    auto file = std::make_shared<KRDataFileBinary>(Private{});
    return file->initNewFileWithName(name) && file->openAtOnce(DataFileStream::Access::New) ? file : nullptr;
}

std::shared_ptr<KRDataFileBinary> KRDataFileBinary::createWithStructure(const platform::Value& structure)
{
    auto file = std::make_shared<KRDataFileBinary>(Private{});
    file->initWithStructure(structure);
    file->needToSwap_ = structure.find("Swap") != nullptr;
    return file;
}

std::shared_ptr<KRDataFile> KRDataFileBinary::copyOn(Copied copied)
{
    auto file = std::make_shared<KRDataFileBinary>(Private{});
    {
        const std::lock_guard lock(accessLock_);
        file->needToSwap_ = needToSwap_;
    }
    file->initWithFile(std::move(copied));
    return file;
}

platform::Value KRDataFileBinary::structure()
{
    platform::Value structure = KRDataFile::structure();
    const std::lock_guard lock(accessLock_);
    if (needToSwap_ && !structure.isNull())
        structure.mutableDictionary()["Swap"] = "YES";
    return structure;
}

std::optional<KRDataFileEntry> KRDataFileBinary::entryFromDictionary(const platform::Value& dictionary) const
{
    return KRDataFileBinaryEntry::createFromDictionary(dictionary);
}

platform::Value KRDataFileBinary::dictionaryOf(const KRDataFileEntry& entry) const
{
    return KRDataFileBinaryEntry::dictionaryForm(entry);
}

std::uint64_t KRDataFileBinary::locationOfDataFor(const std::string& name)
{
    const std::lock_guard lock(accessLock_);
    const KRDataFileEntry* entry = find(name);
    return entry ? entry->offsetInFile() : 0;
}

// The content.

GrowingDataFile::Layout KRDataFileBinary::layout() const
{
    return {kWindow, kSVEntryHeaderLength};
}

GrowingDataFile::Header KRDataFileBinary::headerFrom(const unsigned char* bytes, std::uint64_t position) const
{
    const auto stored = SVDataFileStructure::fromBytes(bytes, needToSwap_);
    Header header;
    switch (SVFaultOf(stored, kSVApplicationDialect)) {
    case SVEntryFault::Name:
        header.faultText = fmt::format(" Name field had length {}.", stored.nameLength);
        [[fallthrough]];
    case SVEntryFault::Size:
        header.fault = Header::Fault::Format;
        return header;
    case SVEntryFault::Type:
        header.fault = Header::Fault::Type;
        if (std::min({stored.m, stored.n, stored.o}) < 0)
            return header;
        break;
    case SVEntryFault::None:
        break;
    }
    header.nameLength = static_cast<std::uint64_t>(stored.nameLength);
    header.dataSize = static_cast<std::uint64_t>(stored.entrySize) - kSVEntryHeaderLength - header.nameLength;
    header.mayHoldNumber = header.fault == Header::Fault::None && stored.type != kSVStringType;
    const std::uint64_t offset = position + kSVEntryHeaderLength + header.nameLength;
    const Shape shape{static_cast<std::uint32_t>(stored.m), static_cast<std::uint32_t>(stored.n),
        static_cast<std::uint32_t>(stored.o)};
    header.entry = stored.type == kSVStringType
        ? KRDataFileBinaryEntry::createStringAt(
            offset, static_cast<std::uint8_t>(ElementType::UChar), shape.m, shape.n, shape.o)
        : KRDataFileBinaryEntry::createArrayAt(offset, typeOfCode(stored.type), shape.m, shape.n, shape.o);
    return header;
}

std::optional<GrowingDataFile::Scan> KRDataFileBinary::readContentFromFile(
    DataFileStream& file, const KRProgressCPP& progress, std::uint64_t startAtOffset)
{
    if (file.length() == 0)
        return Scan();
    if (startAtOffset == 0) {
        if (!findByteOrder(file)) {
            reportFormat(0, fmt::format("The file \"{}\" has incorrect format", lastComponent()));
            return Scan();
        }
        startAtOffset = kSVMagicLength;
    }
    return scanEntries(file, progress, startAtOffset);
}

bool KRDataFileBinary::findByteOrder(DataFileStream& file)
{
    unsigned char magic[kSVMagicLength];
    const bool whole = file.readAt(0, magic, sizeof magic);
    const auto isBigEndian = SVMagicIsBigEndian(magic, whole ? sizeof magic : 0);
    if (isBigEndian)
        needToSwap_ = *isBigEndian != SVFile::RunningOnBigEndianMachine();
    return isBigEndian.has_value();
}

bool KRDataFileBinary::readInContentOfFile(const KRProgressCPP& progress)
{
    if (!makeSureFileIsOpen()) {
        KRMessageCenter::seriousErrorMessage("Could not open the file");
        return false;
    }
    const std::uint64_t length = theFile_->length();
    currentLengthOfFile_ = length;
    needToSwap_ = false;
    Indexed indexed = readIndexFile();
    if (indexed.end > 0) // An index doesn't tell the byte order of the data.
        findByteOrder(*theFile_);
    Scan scan{{}, length, length};
    if (indexed.end != length) {
        if (auto block = readIndexBlock())
            scan.content = std::move(*block);
        else
            scan = readContentFromFile(*theFile_, progress, indexed.end).value_or(Scan());
    }
    if (scan.content.empty())
        scan.content = std::move(indexed.content);
    else
        scan.content.merge(indexed.content); // What was read from the file itself counts.
    takeScan(std::move(scan));
    return true;
}

KRDataFileBinary::Indexed KRDataFileBinary::readIndexFile()
{
    Indexed indexed;
    const auto bytes =
        bytesOfIndexFile(kSVApplicationDialect.smallestIndexFile, kSVApplicationDialect.largestIndexFile + 1);
    if (!bytes)
        return indexed;
    const auto length = static_cast<long long>(currentLengthOfFile_);
    // Its magic is passed over without a look.
    SVRecordReader records(reinterpret_cast<const unsigned char*>(bytes->data()) + kSVIndexFileMagicLength,
        bytes->size() - kSVIndexFileMagicLength);
    while (!records.AtEnd()) {
        SVIndexRecord record;
        if (SVTakeFileRecord(records, length, record) != SVRecordFault::None || record.location < 0
            || records.NameWasCut())
            break;
        indexed.end = std::max(indexed.end, static_cast<std::uint64_t>(SVEndOfData(record)));
        indexed.content.insert_or_assign(indexed.content.end(), record.name, entryOf(record));
    }
    return indexed;
}

std::optional<KRDataFile::Content> KRDataFileBinary::readIndexBlock()
{
    SVReadAhead ahead(theFile_->descriptor(), static_cast<long long>(currentLengthOfFile_));
    // Records have the order of the machine that wrote them: a block of another machine is none here.
    auto records = SVIndexBlockAtEnd(ahead, false, kSVApplicationDialect);
    if (!records)
        return {};
    Content content;
    while (!records->AtEnd()) {
        SVIndexRecord record;
        if (SVTakeBlockRecord(*records, ahead.Length(), record) != SVRecordFault::None) {
            if (!record.name.empty() && !SVTypeWithCode(kSVDataFileTypes, record.type))
                KRMessageCenter::addMessage("Ran into problems reading the file (Incorrect type).");
            return {};
        }
        content.insert_or_assign(content.end(), record.name, entryOf(record));
    }
    return content;
}

KRDataFileEntry KRDataFileBinary::entryOf(const SVIndexRecord& record)
{
    const auto make = record.type == kSVStringType ? KRDataFileBinaryEntry::createStringAt
                                                   : KRDataFileBinaryEntry::createArrayAt;
    return make(static_cast<std::uint64_t>(record.location), typeOfCode(record.type),
        static_cast<std::uint32_t>(record.m), static_cast<std::uint32_t>(record.n),
        static_cast<std::uint32_t>(record.o));
}

bool KRDataFileBinary::fileEndsWithAnIndex(const std::string& path)
{
    const auto file = DataFileStream::open(path, DataFileStream::Access::Read);
    const std::uint64_t length = file ? file->length() : 0;
    char trailer[kSVIndexTrailerLength];
    return length >= sizeof trailer && file->readAt(length - sizeof trailer, trailer, sizeof trailer)
        && std::memcmp(trailer, kSVIndexBlockEnd, 14) == 0;
}

// Writing.

std::string KRDataFileBinary::headOfFile() const
{
    return {kSVMagicLittleEndian, kSVMagicLength};
}

platform::Result<KRDataFile::NewVariable> KRDataFileBinary::variable(
    const std::string& name, const KRDataFileEntry& entry, std::string_view data)
{
    const std::uint64_t entrySize = kSVEntryHeaderLength + name.size() + 1 + data.size();
    if (const auto status = isWritable(name, entrySize); !status)
        return status.error();
    const SVDataFileStructure header(static_cast<int>(entry.m()), static_cast<int>(entry.n()),
        static_cast<int>(entry.o()), static_cast<std::int64_t>(entrySize), kCodes[entry.type()],
        static_cast<int>(name.size()) + 1);
    std::string head(kSVEntryHeaderLength, '\0');
    header.toBytes(reinterpret_cast<unsigned char*>(head.data()), false);
    head.append(name.c_str(), name.size() + 1);
    return NewVariable{name, entry, std::move(head), data};
}

platform::Result<std::vector<KRDataFile::NewVariable>> KRDataFileBinary::variablesFor(
    const std::string& name, const KRAnyArray& array)
{
    const auto type = array.type();
    const Shape shape = shapeWritten(array);
    KRDataFileEntry entry =
        KRDataFileBinaryEntry::createArrayAt(0, static_cast<std::uint8_t>(type), shape.m, shape.n, shape.o);
    if (array.length() == 1 && (type == Double || type == Float || type == Int))
        entry.setNumberValue(StorageNumber::fromBytes(type, array.elements()));
    auto made = variable(name, entry,
        {static_cast<const char*>(array.elements()), static_cast<std::size_t>(array.memoryUsed())});
    if (!made)
        return made.error();
    std::vector<NewVariable> variables;
    variables.push_back(std::move(*made));
    return variables;
}

platform::Result<KRDataFile::NewVariable> KRDataFileBinary::variableForText(
    const std::string& name, const std::string& text)
{
    static_assert(!kSVApplicationDialect.stringHasNul);
    const auto length = static_cast<std::uint32_t>(std::min<std::size_t>(text.size(), UINT32_MAX));
    const std::uint32_t one = length == 0 ? 0 : 1; // Without elements all dimensions are 0.
    KRDataFileEntry entry =
        KRDataFileBinaryEntry::createStringAt(0, KRDataFileBinaryEntry::kStringType, one, length, one);
    if (text.size() < kShortText)
        entry.setStringValue(text);
    return variable(name, entry, text);
}

bool KRDataFileBinary::writeString(const std::string& text, const std::string& withName)
{
    if (!withName.empty())
        return GrowingDataFile::writeString(text, withName);
    KRMessageCenter::addMessage("Trying to write a variable with an empty name.");
    return false;
}

bool KRDataFileBinary::writeDataBlock(const Bytes& bytes, const std::string& withName)
{
    return write(withName, [&]() -> platform::Result<std::vector<NewVariable>> {
        const auto length = static_cast<std::uint32_t>(std::min<std::size_t>(bytes.size(), UINT32_MAX));
        const std::uint32_t one = length == 0 ? 0 : 1;
        auto made = variable(withName,
            KRDataFileBinaryEntry::createArrayAt(0, static_cast<std::uint8_t>(UChar), length, one, one),
            {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        if (!made)
            return made.error();
        std::vector<NewVariable> variables;
        variables.push_back(std::move(*made));
        return variables;
    });
}

// An entry of an unknown type is left out: readers drop an index that has one.
std::string KRDataFileBinary::records(
    std::string head, void (*appendRecord)(std::string& bytes, const SVIndexRecord& record)) const
{
    for (const auto& [name, entry] : theContent_)
        if (entry.type() < std::size(kCodes))
            appendRecord(head,
                {kCodes[entry.type()], static_cast<std::int32_t>(entry.m()),
                    static_cast<std::int32_t>(entry.n()), static_cast<std::int32_t>(entry.o()),
                    static_cast<std::int64_t>(entry.offsetInFile()), name});
    return head;
}

void KRDataFileBinary::addIndexBlock()
{
    const std::lock_guard lock(accessLock_);
    const auto written = [&]() -> platform::Status {
        if (const auto status = placeIsSound(); !status)
            return status;
        std::string block = records(std::string(1, kSVIndexBlockVersion), SVAppendBlockRecord);
        SVAppendName(block, kSVIndexBlockEnd);
        SVAppendNumber(block, static_cast<std::int64_t>(endOfEntries_));
        auto made = variable(kSVIndexBlockName,
            KRDataFileBinaryEntry::createArrayAt(
                0, static_cast<std::uint8_t>(Character), static_cast<std::uint32_t>(block.size()), 1, 1),
            block);
        if (!made)
            return made.error();
        std::vector<NewVariable> variables;
        variables.push_back(std::move(*made));
        return append(variables);
    }();
    reportedWriting(written, kSVIndexBlockName);
}

void KRDataFileBinary::createIndexFile(const FileName& container)
{
    if (!container) {
        KRMessageCenter::addMessage(nullptr);
        return;
    }
    const std::lock_guard lock(accessLock_);
    writeIndexFile(
        container, records(std::string(kSVIndexFileMagic, kSVIndexFileMagicLength), SVAppendFileRecord));
}
