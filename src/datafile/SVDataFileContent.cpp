#include "datafile/SVDataFileContent.h"

#include "arrays/sv/SVErrorMessage.h"
#include "datafile/SVDataFileFormat.h"
#include "datafile/SVDataFileIndex.h"
#include "datafile/SVReadAhead.h"
#include "datafile/SVRecordReader.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

constexpr const char* kScanWord = "Reading In File Content";
constexpr const char* kInvalidFormat = "Invalid file format.";
constexpr const char* kSaveWord = "SVDataFile::Save";

std::string textUpToNul(const unsigned char* bytes, std::size_t count)
{
    const auto* text = reinterpret_cast<const char*>(bytes);
    return {text, std::find(text, text + count, '\0')};
}

} // namespace

SVDataFileContent::SVDataFileContent(const SVFile& openFile, Search search) : file(openFile)
{
    swapBytes = file.EndianType() != SVFile::Native && file.EndianType() != SVFile::EndianForMachine();
    ReadInContent(search);
}

SVDataFileContent::~SVDataFileContent()
{
    if (saveIndex)
        SaveIndexBlock();
}

SVDataEntry SVDataFileContent::Find(const std::string& name) const
{
    const auto place = content.find(name);
    return place == content.end() ? SVDataEntry() : place->second;
}

void SVDataFileContent::ReadInContent(Search search)
{
    const bool indexCounts = search == Search::IndexOrScan;
    if (file.IsOpen() && !(indexCounts && (ReadIndexBlock() || ReadIndexFile())))
        Scan();
    atEnd = false;
}

// A block is used only at the end of the file: a file with entries behind it is scanned.
bool SVDataFileContent::ReadIndexBlock()
{
    SVReadAhead ahead(file);
    const auto records = SVIndexBlockAtEnd(ahead, swapBytes, kSVLibraryDialect);
    return records && SVReadIndexBlockRecords(*records, ahead.Length(), content);
}

bool SVDataFileContent::ReadIndexFile()
{
    const std::string name = SVIndexFileNameForReading(file.Name());
    if (!SVFile::CanOpen(name, SVFile::ReadOnly))
        return false;
    const auto bytes = SVBytesBehindMagic(SVFile(name, SVFile::ReadOnly), kSVIndexFileMagic);
    return bytes
        && SVReadIndexFileRecords(SVRecordReader(bytes->data(), bytes->size()), file.Length(), content);
}

bool SVDataFileContent::ReadMagic(const unsigned char* bytes, std::size_t count)
{
    const auto big = SVMagicIsBigEndian(bytes, bytes ? count : 0);
    if (!big) {
        isSound = false;
        SVErrorMessage("SVDataFile::ReadInContent", "Not a valid Sorvanta binary format.");
        return false;
    }
    swapBytes = *big != SVFile::RunningOnBigEndianMachine();
    return true;
}

void SVDataFileContent::ReportDamage()
{
    isSound = false;
    SVErrorMessage(kScanWord, kInvalidFormat);
}

// A file is a sequence of complete entries, and perhaps the beginning of one that is still being written. An
// incomplete entry counts as not there yet.
void SVDataFileContent::Scan()
{
    SVReadAhead ahead(file);
    const long long length = ahead.Length();
    if (length == 0)
        return;
    const auto magicLength = static_cast<std::size_t>(std::min<long long>(length, kSVMagicLength));
    if (!ReadMagic(ahead.At(0, magicLength), magicLength))
        return;
    // Names often come in order, so that each one's place is just behind that of the one before.
    auto likelyPlace = content.end();
    for (long long position = kSVMagicLength;;) {
        const unsigned char* bytes = ahead.At(position, kSVEntryHeaderLength);
        if (!bytes)
            return;
        const auto header = SVDataFileStructure::fromBytes(bytes, swapBytes);
        if (SVFaultOf(header, kSVLibraryDialect) != SVEntryFault::None)
            return ReportDamage();
        const auto nameLength = static_cast<std::size_t>(header.nameLength);
        // The low 32 bits, as all readers of the format compare them.
        if (static_cast<std::int32_t>(header.entrySize) > length - position)
            return;
        const long long nameStart = position + kSVEntryHeaderLength;
        // The length of the name is damaged. The size of the entry still leads to the next one.
        const std::size_t nameHeld = std::min(nameLength, static_cast<std::size_t>(length - nameStart));
        if (nameHeld < nameLength)
            ReportDamage();
        const unsigned char* name = ahead.At(nameStart, nameHeld);
        if (!name)
            return;
        likelyPlace = std::next(content.insert_or_assign(likelyPlace, textUpToNul(name, nameHeld),
            SVDataEntry{header.m, header.n, header.o, header.type, nameStart + header.nameLength}));
        // An entry of 2 GiB or more has lost its size and would lead backwards.
        if (header.entrySize < 0)
            return ReportDamage();
        if (header.entrySize > length - position)
            return;
        position += header.entrySize;
    }
}

bool SVDataFileContent::PrepareToWrite(const std::string& name)
{
    if (file.IsReadOnly() || !file.IsOpen()) {
        SVErrorMessage(kSaveWord, file.IsReadOnly() ? "File is read only." : "Empty File.");
        return false;
    }
    // Readers stop at such an entry and would lose all entries behind it.
    if (name.size() >= kSVLongestName) {
        SVErrorMessage(kSaveWord, "The name of a variable can have 254 bytes at most.");
        return false;
    }
    if (!atEnd) {
        file.MoveToEnd();
        atEnd = true;
    }
    WriteHeaderIfNecessary();
    return true;
}

// Decided by the known entries, not by the length of the file: a file with a magic only gets a second one.
void SVDataFileContent::WriteHeaderIfNecessary()
{
    if (!content.empty())
        return;
    const bool big = SVFile::RunningOnBigEndianMachine() != swapBytes;
    std::fwrite(big ? kSVMagicBigEndian : kSVMagicLittleEndian, 1, kSVMagicLength, file.FILEForWriting());
}

void SVDataFileContent::WriteHeader(
    const std::string& name, int type, long m, long n, long o, long long dataSize)
{
    const int nameLength = static_cast<int>(name.size()) + 1;
    const SVDataEntry entry{static_cast<int>(m), static_cast<int>(n), static_cast<int>(o), type,
        file.Position() + kSVEntryHeaderLength + nameLength};
    content.insert_or_assign(name, entry);
    // Narrowed to 32 bits and widened again: the limit of 2 GiB for an entry is part of the format.
    const auto size = static_cast<std::int32_t>(kSVEntryHeaderLength + nameLength + dataSize);
    unsigned char header[kSVEntryHeaderLength];
    SVDataFileStructure(entry.m, entry.n, entry.o, size, type, nameLength).toBytes(header, swapBytes);
    std::FILE* stream = file.FILEForWriting();
    std::fwrite(header, 1, sizeof header, stream);
    std::fwrite(name.c_str(), 1, static_cast<std::size_t>(nameLength), stream);
}

void SVDataFileContent::SaveIndexBlock()
{
    if (content.empty())
        return;
    if (!file.IsOpen()) {
        SVErrorMessage(kSaveWord, "Empty File.");
        return;
    }
    if (file.IsReadOnly())
        return;
    if (!atEnd) {
        file.MoveToEnd();
        atEnd = true;
    }
    const long long position = file.Position();
    std::string block(1, kSVIndexBlockVersion);
    SVAppendIndexBlockRecords(block, content);
    SVAppendName(block, kSVIndexBlockEnd);
    SVAppendNumber(block, position);
    const auto length = static_cast<long>(block.size());
    WriteHeader(kSVIndexBlockName, kSVCharType, length, 1, 1, length);
    std::fwrite(block.data(), 1, block.size(), file.FILEForWriting());
}
