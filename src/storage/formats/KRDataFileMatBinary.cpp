#include "storage/formats/KRDataFileMatBinary.h"

#include "datafile/SVMatlabFormat.h"
#include "diagnostics/KRMessageCenter.h"
#include "storage/bytes/StoredText.h"
#include "storage/formats/EntryDictionary.h"
#include "storage/values/ElementConversion.h"

#include <fmt/format.h>

#include <algorithm>

namespace {

using enum ElementType;

// By an entry's type, which is the tens digit of the format's type.
constexpr KREntryRow kMatlabRows[] = {
    // clang-format off
    {Double, false, true,  false, "double",             "double precision"},
    {Float,  true,  false, false, "float",              "single precision"},
    {Int,    false, false, true,  "int",                "4 byte integer"},
    {Short,  false, false, true,  "short int",          "2 byte signed integer"},
    {UShort, false, false, true,  "unsigned short int", "2 byte unsigned integer"},
    {UChar,  false, false, true,  "unsigned char",      "1 byte unsigned integer"},
    // clang-format on
};
constexpr KREntryFormat kMatlabEntries{kMatlabRows, std::size(kMatlabRows), false, "An unknown object"};

// The entry's type for each element type. Signed bytes are stored as text.
constexpr std::uint8_t kTypes[kElementTypeCount] = {0, 1, 2, 3, 4, 5, 5};

constexpr std::uint64_t kMatlabWindow = 512; // Bytes.
constexpr std::uint64_t kLongText = 50; // Characters; shorter texts are kept.
constexpr std::size_t kSmallestMatlabIndex = 20;
constexpr std::size_t kLargestMatlabIndex = 400000000;
constexpr std::string_view kCompanionEnding = "_3D";
constexpr int kText = 1; // The last digit of a type.
constexpr int kSparse = 2;
constexpr int kSizeOfUnknownElement = 8; // As KRDataFileEntry counts it.

} // namespace

// Entries.

KRDataFileEntry KRDataFileMatBinaryEntry::createArrayAt(
    std::uint64_t offset, std::uint8_t type, std::uint32_t rows, std::uint32_t columns)
{
    return {kMatlabEntries, offset, type, false, false, {rows, columns, 1}};
}

KRDataFileEntry KRDataFileMatBinaryEntry::createStringAt(
    std::uint64_t offset, std::uint8_t type, std::uint32_t rows, std::uint32_t columns)
{
    return {kMatlabEntries, offset, type, true, false, {rows, columns, 1}};
}

KRDataFileEntry KRDataFileMatBinaryEntry::createSparseArrayAt(
    std::uint64_t offset, std::uint8_t type, std::uint32_t rows, std::uint32_t columns)
{
    return {kMatlabEntries, offset, type, false, true, {rows, columns, 1}};
}

platform::Value KRDataFileMatBinaryEntry::dictionaryForm(const KRDataFileEntry& entry)
{
    return storage::entryDictionary(entry, false);
}

std::optional<KRDataFileEntry> KRDataFileMatBinaryEntry::createFromDictionary(
    const platform::Value& dictionary)
{
    const auto parts = storage::partsOfEntryDictionary(dictionary, false);
    if (!parts || parts->type >= std::size(kMatlabRows) || (parts->isAString && parts->isSparse))
        return {};
    KRDataFileEntry entry(
        kMatlabEntries, parts->offset, parts->type, parts->isAString, parts->isSparse, parts->shape);
    storage::takeCachedNumber(dictionary, entry);
    return entry;
}

// Making objects.

std::shared_ptr<KRDataFileMatBinary> KRDataFileMatBinary::createWithName(
    const std::string& name, bool forWriting)
{
    using Access = DataFileStream::Access;
    auto file = std::make_shared<KRDataFileMatBinary>(Private{});
    return file->initWithName(name, forWriting)
            && file->openAtOnce(forWriting ? Access::ReadWrite : Access::Read)
        ? file
        : nullptr;
}

std::shared_ptr<KRDataFileMatBinary> KRDataFileMatBinary::createNewFileWithName(const std::string& name)
{
    auto file = std::make_shared<KRDataFileMatBinary>(Private{});
    return file->initNewFileWithName(name) && file->openAtOnce(DataFileStream::Access::New) ? file : nullptr;
}

std::shared_ptr<KRDataFileMatBinary> KRDataFileMatBinary::createWithStructure(
    const platform::Value& structure)
{
    auto file = std::make_shared<KRDataFileMatBinary>(Private{});
    file->initWithStructure(structure);
    file->littleEndian_ = structure.find("LittleEndian") != nullptr;
    file->needToSwap_ = file->littleEndian_ == (SVMatlabOrderOfMachine() != 0);
    const platform::Value* names = structure.find("3D");
    if (names && names->array())
        for (const platform::Value& name : *names->array())
            if (name.text())
                file->variablesThatAre3D_.insert(*name.text());
    return file;
}

std::shared_ptr<KRDataFile> KRDataFileMatBinary::copyOn(Copied copied)
{
    auto file = std::make_shared<KRDataFileMatBinary>(Private{});
    {
        const std::lock_guard lock(accessLock_);
        file->needToSwap_ = needToSwap_;
        file->littleEndian_ = littleEndian_;
        // Without those that came while the bytes were copied.
        for (const std::string& name : variablesThatAre3D_)
            if (copied.content.contains(name + std::string(kCompanionEnding)))
                file->variablesThatAre3D_.insert(name);
    }
    file->initWithFile(std::move(copied));
    return file;
}

platform::Value KRDataFileMatBinary::structure()
{
    platform::Value structure = KRDataFile::structure();
    if (structure.isNull())
        return structure;
    const std::lock_guard lock(accessLock_);
    auto& dictionary = structure.mutableDictionary();
    if (littleEndian_)
        dictionary["LittleEndian"] = "YES";
    dictionary["3D"] = platform::Value::Array(variablesThatAre3D_.begin(), variablesThatAre3D_.end());
    return structure;
}

std::optional<KRDataFileEntry> KRDataFileMatBinary::entryFromDictionary(
    const platform::Value& dictionary) const
{
    return KRDataFileMatBinaryEntry::createFromDictionary(dictionary);
}

platform::Value KRDataFileMatBinary::dictionaryOf(const KRDataFileEntry& entry) const
{
    return KRDataFileMatBinaryEntry::dictionaryForm(entry);
}

// The content.

GrowingDataFile::Layout KRDataFileMatBinary::layout() const
{
    return {kMatlabWindow, kSVMatlabHeaderLength};
}

KRDataFileEntry KRDataFileMatBinary::entryOf(
    int type, std::uint64_t offset, std::uint32_t rows, std::uint32_t columns)
{
    const auto element = static_cast<std::uint8_t>(type % 100 / 10);
    switch (type % 10) {
    case kText:
        return KRDataFileMatBinaryEntry::createStringAt(offset, element, rows, columns);
    case kSparse:
        return KRDataFileMatBinaryEntry::createSparseArrayAt(offset, element, rows, columns);
    default:
        return KRDataFileMatBinaryEntry::createArrayAt(offset, element, rows, columns);
    }
}

GrowingDataFile::Header KRDataFileMatBinary::headerFrom(
    const unsigned char* bytes, std::uint64_t position) const
{
    const FMatrix stored = FMatrix::fromBytes(bytes, needToSwap_);
    Header header;
    const bool nameIsBad =
        stored.namlen <= 0 || stored.namlen > static_cast<std::int32_t>(kSVMatlabLongestName);
    const int order = littleEndian_ ? 0 : 1;
    // A dimension below 0 has no size.
    if (nameIsBad || stored.type < 0 || stored.type / kSVMatlabTypeModulus != order || stored.imagf < 0
        || stored.imagf > 1 || stored.type % 10 > kSparse || stored.mrows < 0 || stored.ncols < 0) {
        header.fault = Header::Fault::Format;
        header.faultText = nameIsBad ? fmt::format(" Name field had length {}.", stored.namlen)
                                     : fmt::format(" The Headerinfo was ({},{},{},{},{}).", stored.type,
                                         stored.mrows, stored.ncols, stored.imagf, stored.namlen);
        return header;
    }
    int elementSize = SVMatlabElementSize(stored.type);
    if (elementSize < 0) {
        header.fault = Header::Fault::Type;
        elementSize = kSizeOfUnknownElement;
    }
    header.nameLength = static_cast<std::uint64_t>(stored.namlen);
    // At most 2^62 elements of 16 bytes: held to the largest size, which no file has.
    const std::uint64_t size =
        static_cast<std::uint64_t>(SVEndOfData(0, stored.mrows, stored.ncols, 1, elementSize));
    header.dataSize = stored.imagf == 1 ? 2 * size : size;
    header.mayHoldNumber = header.fault == Header::Fault::None && stored.type % 10 == 0 && stored.imagf == 0;
    header.entry = entryOf(stored.type, position + kSVMatlabHeaderLength + header.nameLength,
        static_cast<std::uint32_t>(stored.mrows), static_cast<std::uint32_t>(stored.ncols));
    return header;
}

void KRDataFileMatBinary::found(const std::string& name, KRDataFileEntry& entry, ScanWindow& window)
{
    entered(name);
    if (!entry.isAString() || entry.elementCount() >= kLongText)
        return;
    const std::uint64_t size = entry.requiredSize();
    const unsigned char* bytes = size > 0 ? window.at(entry.offsetInFile(), size) : nullptr;
    if (bytes || size == 0)
        entry.setStringValue(convertBytes(std::string(reinterpret_cast<const char*>(bytes), size),
            needToSwap_, *entry.element(), entry.elementCount()));
}

void KRDataFileMatBinary::entered(const std::string& name)
{
    if (name.size() > kCompanionEnding.size() && name.ends_with(kCompanionEnding))
        variablesThatAre3D_.insert(name.substr(0, name.size() - kCompanionEnding.size()));
}

std::string KRDataFileMatBinary::convertBytes(
    std::string bytes, bool swapEndian, ElementType ofType, std::size_t toStringOfLength)
{
    toStringOfLength = std::min(toStringOfLength, bytes.size() / sizeOfElement(ofType));
    if (swapEndian)
        storage::swapElements(ofType, bytes.data(), toStringOfLength);
    std::string characters(toStringOfLength, '\0');
    storage::convertElements(ofType, bytes.data(), toStringOfLength, UChar, characters.data());
    return storage::decodedText(characters);
}

bool KRDataFileMatBinary::findByteOrder(DataFileStream& file)
{
    std::int32_t type = 0;
    if (!file.readAt(0, &type, sizeof type))
        return false;
    // The digit of the order is 0 for little-endian and 1 for big-endian.
    const int order = SVMatlabOrderOfMachine();
    needToSwap_ = type / kSVMatlabTypeModulus != order / kSVMatlabTypeModulus || type < 0;
    littleEndian_ = needToSwap_ == (order != 0);
    return true;
}

std::optional<GrowingDataFile::Scan> KRDataFileMatBinary::readContentFromFile(
    DataFileStream& file, const KRProgressCPP& progress, std::uint64_t startAtOffset)
{
    if (!findByteOrder(file)) {
        reportFormat(0, fmt::format("The file \"{}\" doesn't contain any data.", lastComponent()));
        return {};
    }
    unsigned char header[kSVMatlabNewerHeaderLength];
    const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(file.length(), sizeof header));
    if (startAtOffset == 0 && file.readAt(0, header, length) && SVMatlabIsOfNewerLevel(header, length)) {
        reportFormat(0, fmt::format("The file \"{}\" {}", lastComponent(), kSVMatlabNewerLevelText));
        return Scan();
    }
    return scanEntries(file, progress, startAtOffset);
}

bool KRDataFileMatBinary::readInContentOfFile(const KRProgressCPP& progress)
{
    if (!makeSureFileIsOpen()) {
        KRMessageCenter::seriousErrorMessage("Could not open the data file");
        return false;
    }
    currentLengthOfFile_ = theFile_->length();
    variablesThatAre3D_.clear();
    Scan indexed = readIndexFile().value_or(Scan());
    if (indexed.until > 0 && indexed.until == currentLengthOfFile_) {
        takeScan(std::move(indexed));
        return true;
    }
    if (indexed.until == 0)
        variablesThatAre3D_.clear();
    auto scan = readContentFromFile(*theFile_, progress, indexed.until);
    const bool isRead = scan.has_value();
    if (isRead)
        scan->content.merge(indexed.content); // What was read from the file itself counts.
    takeScan(isRead ? std::move(*scan) : Scan());
    return isRead;
}

// The library takes fewer types: it has no sparse matrices, and no texts of wide elements.
bool KRDataFileMatBinary::takeIndexRecord(SVRecordReader& records, SVMatlabIndexRecord& record) const
{
    const bool isWhole = records.Take(record.location) && records.Take(record.type)
        && records.Take(record.rows) && records.Take(record.columns);
    record.name = records.TakeName();
    const int elementSize = SVMatlabElementSize(record.type);
    if (!isWhole || records.NameWasCut() || record.name.empty() || record.location < 0 || record.rows < 0
        || record.columns < 0 || record.type < 0 || record.type % 10 > kSparse || elementSize < 0)
        return false;
    const long long end = SVEndOfData(record.location, record.rows, record.columns, 1, elementSize);
    return static_cast<std::uint64_t>(end) <= currentLengthOfFile_;
}

// An index counts from the start of the file as far as it reaches: variables may have been added since it was
// made. One with a record that can't be right isn't believed.
std::optional<GrowingDataFile::Scan> KRDataFileMatBinary::readIndexFile()
{
    const auto bytes = bytesOfIndexFile(kSmallestMatlabIndex, kLargestMatlabIndex + 1);
    if (!bytes || !findByteOrder(*theFile_))
        return {};
    const std::size_t magicLength = std::string_view(kSVMatlabIndexMagic).size() + 1;
    SVRecordReader records(
        reinterpret_cast<const unsigned char*>(bytes->data()) + magicLength, bytes->size() - magicLength);
    Scan indexed;
    while (!records.AtEnd()) {
        SVMatlabIndexRecord record;
        if (!takeIndexRecord(records, record))
            return {};
        KRDataFileEntry entry = entryOf(record.type, static_cast<std::uint64_t>(record.location),
            static_cast<std::uint32_t>(record.rows), static_cast<std::uint32_t>(record.columns));
        indexed.until = std::max(indexed.until, entry.offsetInFile() + entry.requiredSize());
        entered(record.name);
        indexed.content.insert_or_assign(indexed.content.end(), std::move(record.name), std::move(entry));
    }
    // An index tells no imaginary parts, so that the end of its last matrix may lie before one.
    unsigned char header[kSVMatlabHeaderLength];
    if (indexed.until != currentLengthOfFile_
        && (!theFile_->readAt(indexed.until, header, sizeof header)
            || headerFrom(header, indexed.until).fault != Header::Fault::None))
        return {};
    indexed.endOfEntries = indexed.until;
    return indexed;
}

void KRDataFileMatBinary::createIndexFile(const FileName& container)
{
    if (!container) {
        KRMessageCenter::addMessage(nullptr);
        return;
    }
    const std::lock_guard lock(accessLock_);
    std::string bytes;
    SVAppendName(bytes, kSVMatlabIndexMagic);
    for (const auto& [name, entry] : theContent_) {
        if (entry.type() >= std::size(kMatlabRows))
            continue; // Of an unknown type: no reader takes an index that has one.
        const int kind = entry.isAString() ? kText : entry.isSparse() ? kSparse : 0;
        SVAppendMatlabRecord(bytes,
            {static_cast<std::int64_t>(entry.offsetInFile()),
                static_cast<std::int8_t>(10 * entry.type() + kind), static_cast<std::int32_t>(entry.m()),
                static_cast<std::int32_t>(entry.n()), name});
    }
    writeIndexFile(container, bytes);
}

// Three dimensions.

std::optional<KRDataFileEntry::Shape> KRDataFileMatBinary::threeDimensionalShape(
    const std::string& name, const KRDataFileEntry& entry)
{
    if (!variablesThatAre3D_.contains(name))
        return entry.shape();
    const auto rows = readNumberInsideLock(name + std::string(kCompanionEnding));
    const std::int64_t k = rows ? rows->intValue() : 0;
    if (k <= 0 || entry.m() % k != 0)
        return {};
    return KRDataFileEntry::Shape{
        static_cast<std::uint32_t>(k), static_cast<std::uint32_t>(entry.m() / k), entry.n()};
}

std::optional<KRDataFileEntry::Shape> KRDataFileMatBinary::shapeOf(
    const std::string& name, const KRDataFileEntry& entry)
{
    const auto shape = threeDimensionalShape(name, entry);
    if (!shape)
        KRMessageCenter::addMessage(fmt::format(
            "The variable \"{}\" in file \"{}\" had an incorrect third dimension.", name, fileName_));
    return shape;
}

KRDataStorage::Size KRDataFileMatBinary::sizeOf(const std::string& name, const KRDataFileEntry& entry)
{
    const auto shape = threeDimensionalShape(name, entry).value_or(entry.shape());
    return {shape.m, shape.n, shape.o};
}

// Writing.

platform::Result<KRDataFile::NewVariable> KRDataFileMatBinary::variable(
    const std::string& name, const KRDataFileEntry& entry, std::string_view data)
{
    const std::uint64_t size = kSVMatlabHeaderLength + name.size() + 1 + data.size();
    if (const auto status = isWritable(name, size); !status)
        return status.error();
    const FMatrix header{SVMatlabOrderOfMachine() + 10 * entry.type() + (entry.isAString() ? kText : 0),
        static_cast<std::int32_t>(entry.m()), static_cast<std::int32_t>(entry.n()), 0,
        static_cast<std::int32_t>(name.size()) + 1};
    std::string head = header.toBytes();
    head.append(name.c_str(), name.size() + 1);
    return NewVariable{name, entry, std::move(head), data};
}

platform::Result<std::vector<KRDataFile::NewVariable>> KRDataFileMatBinary::variablesFor(
    const std::string& name, const KRAnyArray& array)
{
    const auto type = array.type();
    const bool is3D = array.o() > 1;
    if (is3D && type != Double && type != Float && type != Int)
        return platform::Error{"arrays of small integers can have two dimensions at most in this format"};
    const auto rows = static_cast<std::uint32_t>(is3D ? array.m() * array.n() : array.m());
    const auto columns = static_cast<std::uint32_t>(is3D ? array.o() : array.n());
    const auto make = type == Character ? KRDataFileMatBinaryEntry::createStringAt
                                        : KRDataFileMatBinaryEntry::createArrayAt;
    KRDataFileEntry entry = make(0, kTypes[static_cast<std::size_t>(type)], rows, columns);
    if (array.length() == 1 && (type == Double || type == Float || type == Int))
        entry.setNumberValue(StorageNumber::fromBytes(type, array.elements()));
    std::vector<NewVariable> variables;
    const auto add = [&](platform::Result<NewVariable> made) -> platform::Status {
        if (!made)
            return made.error();
        variables.push_back(std::move(*made));
        return {};
    };
    if (is3D) {
        const auto m = static_cast<std::int32_t>(array.m());
        KRDataFileEntry companion =
            KRDataFileMatBinaryEntry::createArrayAt(0, kTypes[static_cast<std::size_t>(Int)], 1, 1);
        companion.setNumberValue(StorageNumber(m));
        auto made = variable(name + std::string(kCompanionEnding), companion, {});
        if (made)
            SVAppendNumber(made->tail, m);
        if (const auto status = add(std::move(made)); !status)
            return status.error();
    }
    const auto status = add(variable(name, entry,
        {static_cast<const char*>(array.elements()), static_cast<std::size_t>(array.memoryUsed())}));
    if (!status)
        return status.error();
    return variables;
}

platform::Result<KRDataFile::NewVariable> KRDataFileMatBinary::variableForText(
    const std::string& name, const std::string& text)
{
    const auto length = static_cast<std::uint32_t>(std::min<std::size_t>(text.size(), UINT32_MAX));
    KRDataFileEntry entry =
        KRDataFileMatBinaryEntry::createStringAt(0, kTypes[static_cast<std::size_t>(UChar)], length, 1);
    if (text.size() < kLongText)
        entry.setStringValue(text);
    return variable(name, entry, text);
}
