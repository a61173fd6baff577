#include "datafile/SVFile.h"

#include "arrays/sv/SVErrorMessage.h"
#include "datafile/SVFileWords.h"
#include "datafile/SVRegularFile.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

// Shared by the copies of a file handle.
struct SVFileStorage {
    std::string name;
    std::FILE* file = nullptr;
    bool readOnly = true;
    int referenceCount = 1;
    long long length = -1; // In bytes; -1: not known.
    SVFile::Endian endian = SVFile::Native;
    bool swapBytes = false; // The declared order differs from the machine's. Not used here.

    SVFileStorage() = default;
    SVFileStorage(const SVFileStorage&) = delete;
    SVFileStorage& operator=(const SVFileStorage&) = delete;
    ~SVFileStorage()
    {
        if (file)
            std::fclose(file);
    }
};

namespace {

constexpr const char* kNoNumberWritten = "Could not write the number to the file.";
constexpr const char* kNoStringWritten = "Could not write the string to the file.";

template <class T>
std::string arrayWord()
{
    return std::string(SVArrayMemberOf<T>.stem) + "Array";
}

const char* modeOf(SVFile::OpenType type)
{
    switch (type) {
    case SVFile::ExistingReadWrite:
        return "r+b";
    case SVFile::NewReadWrite:
        return "w+b";
    case SVFile::ReadOnly:
        break;
    }
    return "rb";
}

} // namespace

bool SVFile::RunningOnBigEndianMachine()
{
    // Found at run time: the first two bytes of a 32-bit 1 are 0 on a big-endian machine.
    const std::uint32_t number = 1;
    std::uint16_t firstHalf = 0;
    std::memcpy(&firstHalf, &number, sizeof firstHalf);
    return firstHalf == 0;
}

SVFile::Endian SVFile::EndianForMachine()
{
    return RunningOnBigEndianMachine() ? BigEndian : LittleEndian;
}

bool SVFile::CanOpen(const std::string& name, OpenType)
{
    std::FILE* file = SVOpenRegularFile(name, modeOf(ReadOnly));
    if (file)
        std::fclose(file);
    return file != nullptr;
}

SVFile::SVFile() : Storage(new SVFileStorage) { }

SVFile::SVFile(const std::string& name, OpenType type) : SVFile(name, Native, type) { }

SVFile::SVFile(const std::string& name, Endian endian, OpenType type) : Storage(new SVFileStorage)
{
    Storage->name = name;
    Storage->endian = endian;
    Storage->swapBytes = endian != Native && endian != EndianForMachine();
    Open(type);
}

SVFile::SVFile(const SVFile& other) : Storage(other.Storage)
{
    ++Storage->referenceCount;
}

SVFile& SVFile::operator=(const SVFile& other)
{
    if (Storage == other.Storage)
        return *this;
    Release();
    Storage = other.Storage;
    ++Storage->referenceCount;
    return *this;
}

SVFile::~SVFile()
{
    Release();
}

void SVFile::Open(OpenType type)
{
    Storage->readOnly = type == ReadOnly;
    Storage->file = SVOpenRegularFile(Storage->name, modeOf(type));
    if (!Storage->file)
        SVErrorMessage("SVFile(name,type)", "Could not open the file \"" + Storage->name + "\"");
}

void SVFile::Release()
{
    if (--Storage->referenceCount == 0)
        delete Storage;
}

bool SVFile::IsOpen() const
{
    return Storage->file != nullptr;
}

bool SVFile::IsReadOnly() const
{
    return Storage->readOnly;
}

std::string SVFile::Name() const
{
    return Storage->name;
}

SVFile::Endian SVFile::EndianType() const
{
    return Storage->endian;
}

long long SVFile::Position() const
{
    return IsOpen() ? ftello(Storage->file) : 0;
}

void SVFile::SetPosition(long long position)
{
    if (IsOpen())
        fseeko(Storage->file, position, SEEK_SET);
}

void SVFile::MovePosition(long long distance)
{
    if (IsOpen() && distance != 0)
        fseeko(Storage->file, distance, SEEK_CUR);
}

void SVFile::MoveToEnd()
{
    if (IsOpen())
        fseeko(Storage->file, 0, SEEK_END);
}

bool SVFile::AtEndOfFile() const
{
    return !IsOpen() || std::feof(Storage->file) != 0;
}

void SVFile::Flush()
{
    if (IsOpen())
        std::fflush(Storage->file);
}

long long SVFile::Length() const
{
    if (Storage->length < 0 && IsOpen()) {
        const off_t position = ftello(Storage->file);
        fseeko(Storage->file, 0, SEEK_END);
        Storage->length = ftello(Storage->file);
        fseeko(Storage->file, position, SEEK_SET);
    }
    return IsOpen() ? Storage->length : 0;
}

std::FILE* SVFile::FILEForReading() const
{
    return Storage->file;
}

std::FILE* SVFile::FILEForWriting()
{
    Storage->length = -1;
    return Storage->file;
}

bool SVFile::CheckWriteErrorState(const char* where) const
{
    if (IsOpen() && !Storage->readOnly)
        return false;
    SVErrorMessage(where, IsOpen() ? "Read only" : "No file");
    return true;
}

void SVFile::pinfo() const
{
    std::fprintf(stderr, "File = %s%s", Storage->name.c_str(), Storage->readOnly ? " [read only]" : "");
    std::fflush(stderr);
}

template <class T>
bool SVFile::ReadElements(const std::string& word, T* elements, long count, bool isWholeArray)
{
    if (count == 0)
        return true;
    if (!IsOpen()) {
        SVErrorMessage(word, "No file");
        return false;
    }
    const std::size_t got = std::fread(elements, sizeof(T), static_cast<std::size_t>(count), Storage->file);
    // For a whole array the low 32 bits are compared, as all readers of this format do.
    if (got == (isWholeArray ? static_cast<std::uint32_t>(count) : static_cast<std::size_t>(count)))
        return true;
    SVErrorMessage(word, kSVTooFewValues);
    return false;
}

template <class T>
bool SVFile::ReadBinary(SVMutableArray<T>& array)
{
    // Bytes are read like a part of the array: the whole count is compared.
    return ReadElements(
        "SVFile::ReadBinary(" + arrayWord<T>() + ")", array.Pointer(), array.Length(), sizeof(T) > 1);
}

template bool SVFile::ReadBinary(SVMutableDoubleArray&);
template bool SVFile::ReadBinary(SVMutableFloatArray&);
template bool SVFile::ReadBinary(SVMutableIntArray&);
template bool SVFile::ReadBinary(SVMutableShortIntArray&);
template bool SVFile::ReadBinary(SVMutableUShortIntArray&);
template bool SVFile::ReadBinary(SVMutableCharArray&);
template bool SVFile::ReadBinary(SVMutableUCharArray&);

namespace {

// Whether `length` elements from `start` on lie in an array of that length.
bool isInside(long start, long length, long arrayLength)
{
    return start >= 0 && length >= 0 && start <= arrayLength && length <= arrayLength - start;
}

} // namespace

bool SVFile::ReadBinary(SVMutableDoubleArray& array, const SVRange& range)
{
    constexpr const char* kWord = "SVFile::ReadBinary(DoubleArray,Range)";
    if (isInside(range.start, range.length, array.Length()))
        return ReadElements(kWord, array.Pointer() + range.start, range.length, false);
    SVErrorMessage(kWord, "Range out of bounds");
    return false;
}

bool SVFile::ReadBinary(SVMutableIntArray& array, const SVRange& range)
{
    constexpr const char* kWord = "SVFile::ReadBinary(IntArray,Range)";
    if (isInside(range.start, range.length, array.Length()))
        return ReadElements(kWord, array.Pointer() + range.start, range.length, false);
    SVErrorMessage(kWord, "Range out of bounds");
    return false;
}

bool SVFile::ReadBinary(SVMutableUCharArray& array, long start, long length)
{
    if (isInside(start, length, array.Length()))
        return ReadElements("SVFile::ReadBinary(UCharArray)", array.Pointer() + start, length, false);
    SVErrorMessage("SVFile::ReadBinary(UCharArray,int start,int length)", "Invalid range");
    return false;
}

bool SVFile::ReadBinary(SVMutableUCharArray& array, long length)
{
    if (isInside(0, length, array.Length()))
        return ReadBinary(array, 0, length);
    SVErrorMessage("SVFile::ReadBinary(UCharArray,int)", "Invalid length");
    return false;
}

bool SVFile::ReadBinary(SVMutableCharArray& array, long length)
{
    if (isInside(0, length, array.Length()))
        return ReadElements("SVFile::ReadBinary(CharArray)", array.Pointer(), length, false);
    SVErrorMessage("SVFile::ReadBinary(CharArray,int)", "Invalid length");
    return false;
}

bool SVFile::ReadCharacters(char* chars, unsigned long howMuchToRead)
{
    if (howMuchToRead == 0)
        return true;
    if (IsOpen() && std::fread(chars, 1, howMuchToRead, Storage->file) == howMuchToRead)
        return true;
    SVErrorMessage("SVFile::ReadCharacters(chars,howMuchToRead)", kSVTooFewValues);
    return false;
}

template <class Number>
Number SVFile::ReadNumber(const char* word, Endian endian)
{
    Number number = 0;
    if (!IsOpen()) {
        SVErrorMessage(word, "No file");
        return 0;
    }
    if (std::fread(&number, sizeof number, 1, Storage->file) != 1) {
        SVErrorMessage(word, "Could not read the number");
        return 0;
    }
    if (endian != EndianForMachine()) {
        unsigned char bytes[sizeof number];
        std::memcpy(bytes, &number, sizeof number);
        std::reverse(bytes, bytes + sizeof number);
        std::memcpy(&number, bytes, sizeof number);
    }
    return number;
}

unsigned short SVFile::ReadUnsignedShort()
{
    return ReadNumber<unsigned short>("SVFile::ReadUnsignedShort()", EndianForMachine());
}

int SVFile::Read_int32(Endian endian)
{
    return ReadNumber<int>("SVFile::Read_int32(Endian)", endian);
}

unsigned int SVFile::Read_uint32(Endian endian)
{
    return ReadNumber<unsigned int>("SVFile::Read_uint32(Endian)", endian);
}

long long SVFile::Read_int64(Endian endian)
{
    return ReadNumber<long long>("SVFile::Read_int64(Endian)", endian);
}

float SVFile::Read_float(Endian endian)
{
    return ReadNumber<float>("SVFile::Read_float(Endian)", endian);
}

double SVFile::Read_double(Endian endian)
{
    return ReadNumber<double>("SVFile::Read_double(Endian)", endian);
}

std::string SVFile::ReadString(unsigned long length)
{
    constexpr const char* kWord = "SVFile::ReadString(length)";
    if (length == 0)
        return {};
    if (!IsOpen()) {
        SVErrorMessage(kWord, "No file");
        return {};
    }
    // Allocated block by block: the file may hold far less than `length`.
    constexpr std::size_t kBlock = 1 << 20;
    std::string text;
    while (text.size() < length) {
        const std::size_t held = text.size();
        const std::size_t wanted = std::min<std::size_t>(kBlock, length - held);
        text.resize(held + wanted);
        if (std::fread(text.data() + held, 1, wanted, Storage->file) != wanted) {
            SVErrorMessage(kWord, "Could not read the required number of characters from the file");
            return {};
        }
    }
    return text;
}

SVMutableDoubleArray SVFile::ReadFortranBinary()
{
    return {};
}

char SVFile::CharacterAtCurrentPosition()
{
    if (!IsOpen())
        return 0;
    const int c = std::fgetc(Storage->file);
    // Also at the end of the file, where it moves onto the last byte: existing scanners rely on that.
    MovePosition(-1);
    return static_cast<char>(c);
}

bool SVFile::Find(char c)
{
    const long long start = Position();
    long long left = Length() - start;
    char block[1024];
    while (left > 0) {
        const auto count = static_cast<std::size_t>(std::min<long long>(left, sizeof block));
        if (std::fread(block, 1, count, Storage->file) != count)
            break;
        if (const void* place = std::memchr(block, c, count)) {
            MovePosition(static_cast<const char*>(place) - block - static_cast<long long>(count));
            return true;
        }
        left -= static_cast<long long>(count);
    }
    SetPosition(start);
    return false;
}

bool SVFile::WriteBytes(
    const char* checkWord, const char* failWord, const char* text, const void* bytes, std::size_t count)
{
    if (CheckWriteErrorState(checkWord))
        return false;
    if (count == 0 || std::fwrite(bytes, 1, count, FILEForWriting()) == count)
        return true;
    SVErrorMessage(failWord, text);
    return false;
}

bool SVFile::WriteString(const std::string& text)
{
    constexpr const char* kWord = "SVFile::WriteString(string)";
    return WriteBytes(kWord, kWord, kNoStringWritten, text.data(), text.size());
}

bool SVFile::WriteStringWithZero(const std::string& text)
{
    constexpr const char* kWord = "SVFile::WriteStringWithZero(string)";
    return WriteBytes(kWord, kWord, kNoStringWritten, text.c_str(), text.size() + 1);
}

bool SVFile::WriteUnsignedShort(unsigned short value)
{
    constexpr const char* kWord = "SVFile::WriteUnsignedShort(value)";
    return WriteBytes(kWord, kWord, kNoNumberWritten, &value, sizeof value);
}

// The shorter integers report under the word of the longest: users search logs for it.
static constexpr const char* kIntegerWord = "SVFile::Write8ByteInt(value)";

bool SVFile::Write8ByteInt(long long value)
{
    return WriteBytes(kIntegerWord, kIntegerWord, kNoNumberWritten, &value, sizeof value);
}

bool SVFile::Write4ByteInt(int value)
{
    return WriteBytes(kIntegerWord, kIntegerWord, kNoNumberWritten, &value, sizeof value);
}

bool SVFile::Write2ByteInt(short value)
{
    return WriteBytes(kIntegerWord, kIntegerWord, kNoNumberWritten, &value, sizeof value);
}

bool SVFile::Write1ByteInt(char value)
{
    return WriteBytes(kIntegerWord, kIntegerWord, kNoNumberWritten, &value, sizeof value);
}

bool SVFile::WriteFloat(float value)
{
    constexpr const char* kWord = "SVFile::WriteFloat(value)";
    return WriteBytes(kWord, kWord, kNoNumberWritten, &value, sizeof value);
}

bool SVFile::WriteDouble(double value)
{
    constexpr const char* kWord = "SVFile::WriteDouble(value)";
    return WriteBytes(kWord, kWord, kNoNumberWritten, &value, sizeof value);
}

bool SVFile::WriteRaw(const char* bytes, long length)
{
    return WriteBytes("SVFile::WriteRaw(value)", "SVFile::WriteRaw(ptr,length)",
        "Could not write the data to the file.", bytes, static_cast<std::size_t>(std::max(0L, length)));
}

template <class T>
bool SVFile::WriteBinary(const SVArray<T>& array)
{
    const std::string word = "SVFile::WriteBinary(SV" + arrayWord<T>() + ")";
    return WriteBytes(word.c_str(), word.c_str(), "Could not write the array to the file.", array.Pointer(),
        static_cast<std::size_t>(array.Length()) * sizeof(T));
}

template bool SVFile::WriteBinary(const SVDoubleArray&);
template bool SVFile::WriteBinary(const SVFloatArray&);
template bool SVFile::WriteBinary(const SVIntArray&);
template bool SVFile::WriteBinary(const SVShortIntArray&);
template bool SVFile::WriteBinary(const SVUShortIntArray&);
template bool SVFile::WriteBinary(const SVCharArray&);
template bool SVFile::WriteBinary(const SVUCharArray&);
