#include "datafile/SVMatlabDataFile.h"

#include "arrays/sv/SVArrayByteOrder.h"
#include "arrays/sv/SVArrayConversion.h"
#include "arrays/sv/SVErrorMessage.h"
#include "datafile/SVArrayStorageInternal.h"
#include "datafile/SVDataListing.h"
#include "datafile/SVMatlabDataFileContent.h"
#include "datafile/SVMatlabFormat.h"
#include "datafile/SVRecordReader.h"

#include <unistd.h>

#include <algorithm>
#include <type_traits>

namespace {

constexpr const char* kSaveMatrixWord = "SVMatlabDataFile::Save";

struct Shape {
    int m = 0;
    int n = 0;
    int o = 1;
};

// Reads the stored elements; empty if the file ends before them.
template <class Stored>
SVMutableArray<Stored> readStored(
    SVMatlabDataFileContent& content, const SVMatlabDataEntry& entry, Shape shape, bool swap)
{
    SVMutableArray<Stored> array(shape.m, shape.n, shape.o);
    content.file.SetPosition(entry.location);
    const auto count = static_cast<std::size_t>(array.Length());
    if (count == 0)
        return array;
    if (std::fread(array.Pointer(), sizeof(Stored), count, content.file.FILEForReading()) != count)
        return {};
    if constexpr (sizeof(Stored) > 1) {
        if (swap)
            SwapEndian(array);
    }
    return array;
}

template <class T, class Stored>
SVMutableArray<T> readConverted(SVMatlabDataFileContent& content, const SVMatlabDataEntry& entry, Shape shape)
{
    // ReadDoubleArray() alone does not swap stored floats: existing files rely on that.
    const bool swap = content.swapBytes && !(std::is_same_v<T, double> && std::is_same_v<Stored, float>);
    if constexpr (std::is_same_v<T, Stored>)
        return readStored<T>(content, entry, shape, swap);
    else
        return SVConvertedArray<T>(readStored<Stored>(content, entry, shape, swap));
}

template <class T>
struct MatrixReader {
    int type;
    SVMutableArray<T> (*read)(SVMatlabDataFileContent&, const SVMatlabDataEntry&, Shape);
};
template <class T, class Stored>
constexpr MatrixReader<T> kMatrixReaderOf{SVMatlabCode<Stored>, readConverted<T, Stored>};

// Stored bytes are read as signed, except as unsigned char.
template <class T>
constexpr MatrixReader<T> kMatrixReaders[] = {kMatrixReaderOf<T, double>, kMatrixReaderOf<T, float>,
    kMatrixReaderOf<T, std::int32_t>, kMatrixReaderOf<T, std::int16_t>, kMatrixReaderOf<T, std::uint16_t>,
    {kSVMatlabBytes,
        readConverted<T, std::conditional_t<std::is_same_v<T, unsigned char>, unsigned char, signed char>>}};
// Characters are read from text in both its forms, from doubles and from bytes, and from nothing else.
template <>
constexpr MatrixReader<signed char> kMatrixReaders<signed char>[] = {
    {kSVMatlabDouble, readConverted<signed char, double>},
    {kSVMatlabTextAsDoubles, readConverted<signed char, double>},
    {kSVMatlabBytes, readConverted<signed char, signed char>},
    {kSVMatlabText, readConverted<signed char, signed char>},
};

// The function words of a reader's reports: for a variable that isn't there, and for one of a type that it
// can't read.
struct ReaderWords {
    std::string notFound;
    std::string illegalType;
    const char* illegalTypeText = "Illegal type.";
};

template <class T>
ReaderWords wordsOf()
{
    ReaderWords words;
    words.notFound = words.illegalType =
        std::string("dataFile.Read") + SVArrayMemberOf<T>.stem + "Array(name)";
    if (std::is_same_v<T, std::int16_t>)
        words.illegalType = "dataFile.ReadShortArray(name)";
    if (std::is_same_v<T, std::uint16_t>)
        words.illegalType = "dataFile.ReadUShortArray(name)";
    if (std::is_same_v<T, signed char>)
        words.illegalTypeText = "Haven't taken care of this case.";
    return words;
}

// The low byte of the number without its fraction; 0 for one that doesn't fit 32 bits.
char truncatedToByte(double code)
{
    const bool fits = code > -2147483649.0 && code < 2147483648.0;
    return static_cast<char>(fits ? static_cast<std::int32_t>(code) & 0xff : 0);
}

std::string notFoundText(const std::string& name)
{
    return "Did not find the variable \"" + name + "\" inside the datafile.";
}

} // namespace

SVMatlabDataFile::SVMatlabDataFile() : Content(new SVMatlabDataFileContent(SVFile())) { }

SVMatlabDataFile::SVMatlabDataFile(const std::string& name, SVFile::OpenType openType)
{
    if (openType == SVFile::NewReadWrite)
        ::unlink(SVMatlabIndexFileName(name).c_str());
    Content = new SVMatlabDataFileContent(SVFile(name, openType));
}

SVMatlabDataFile::SVMatlabDataFile(const SVFile& file)
{
    if (file.IsOpen() && file.Length() == 0)
        ::unlink(SVMatlabIndexFileName(file.Name()).c_str());
    Content = new SVMatlabDataFileContent(file);
}

SVMatlabDataFile::SVMatlabDataFile(const SVMatlabDataFile& other)
    : SVArrayStorageOf<SVMatlabDataFile>(other), Content(other.Content)
{
    ++Content->referenceCount;
}

SVMatlabDataFile& SVMatlabDataFile::operator=(const SVMatlabDataFile& other)
{
    if (Content == other.Content)
        return *this;
    Release();
    Content = other.Content;
    ++Content->referenceCount;
    return *this;
}

SVMatlabDataFile::~SVMatlabDataFile()
{
    Release();
}

void SVMatlabDataFile::Release()
{
    if (--Content->referenceCount == 0)
        delete Content;
}

bool SVMatlabDataFile::IsOpen() const
{
    return Content->file.IsOpen();
}

bool SVMatlabDataFile::IsReadOnly() const
{
    return Content->file.IsReadOnly();
}

void SVMatlabDataFile::SaveIndex()
{
    Content->SaveIndex();
}

void SVMatlabDataFile::ShouldSaveIndexWhenClosing()
{
    if (!Content->indexSaved)
        Content->saveIndexWhenClosing = true;
}

SVMutablePointer<SVDataStorage> SVMatlabDataFile::AsPointer() const
{
    return SVMutablePointer<SVDataStorage>(new SVMatlabDataFile(*this));
}

SVMatlabDataFile::Description SVMatlabDataFile::Describe(const std::string& name) const
{
    const SVMatlabDataEntry entry = Content->Find(name);
    return {entry.type % kSVMatlabTypeModulus, entry.m, entry.n, entry.location};
}

bool SVMatlabDataFile::Contains(const std::string& name) const
{
    return Content->Find(name).location >= 0;
}

std::vector<std::string> SVMatlabDataFile::AllVariableNames() const
{
    std::vector<std::string> names;
    names.reserve(Content->content.size());
    for (const auto& entry : Content->content)
        names.push_back(entry.first);
    return names;
}

namespace {

bool isSavedAs(
    const SVMatlabDataFileContent& content, const std::string& name, std::initializer_list<int> types)
{
    const auto place = content.content.find(name);
    return place != content.content.end()
        && std::find(types.begin(), types.end(), place->second.type % kSVMatlabTypeModulus) != types.end();
}

} // namespace

bool SVMatlabDataFile::SavedAsCharacter(const std::string& name) const
{
    return isSavedAs(*Content, name, {kSVMatlabBytes});
}

bool SVMatlabDataFile::SavedAsShort(const std::string& name) const
{
    return isSavedAs(*Content, name, {30, 40});
}

bool SVMatlabDataFile::SavedAsInt(const std::string& name) const
{
    return isSavedAs(*Content, name, {20});
}

bool SVMatlabDataFile::SavedAsDouble(const std::string& name) const
{
    return isSavedAs(*Content, name, {kSVMatlabDouble});
}

bool SVMatlabDataFile::SavedAsString(const std::string& name) const
{
    return isSavedAs(*Content, name, {kSVMatlabText, kSVMatlabTextAsDoubles});
}

void SVMatlabDataFile::Flush()
{
    Content->file.Flush();
}

bool SVMatlabDataFile::MayWrite(const std::string& name) const
{
    if (Content->file.IsReadOnly())
        SVErrorMessage(kSaveMatrixWord, "File is read only.");
    else if (name.size() >= kSVMatlabLongestName) // Readers stop at a longer one and lose all that follows.
        SVErrorMessage(kSaveMatrixWord, "The name of a variable can have 254 bytes at most.");
    else
        return true;
    return false;
}

// The types that may have layers: a companion is written for them.
template <class T>
constexpr bool kMayHaveLayers = sizeof(T) >= sizeof(std::int32_t);

template <class T>
void SVMatlabDataFile::SaveArray(const SVArray<T>& array, const std::string& name)
{
    if (!MayWrite(name))
        return;
    const bool hasLayers = kMayHaveLayers<T> && array.o() > 1;
    if (hasLayers)
        Save(static_cast<double>(array.m()), name + "_3D");
    const long rows = hasLayers ? array.m() * array.n() : array.m();
    const long columns = hasLayers ? array.o() : array.n();
    Content->WriteHeader(name, SVMatlabCode<T>, static_cast<int>(rows), static_cast<int>(columns));
    Content->file.WriteBinary(array); // Reports if the file isn't open.
}

void SVMatlabDataFile::Save(int value, const std::string& name)
{
    Save(static_cast<double>(value), name);
}

void SVMatlabDataFile::Save(double value, const std::string& name)
{
    SVMutableDoubleArray array(1);
    array(0) = value;
    SaveArray<double>(array, name);
}

void SVMatlabDataFile::Save(const std::string& text, const std::string& name)
{
    if (!MayWrite(name))
        return;
    if (!IsOpen()) {
        SVErrorMessage(kSaveMatrixWord, "File is not open.");
        return;
    }
    Content->WriteHeader(name, kSVMatlabText, static_cast<int>(text.size()), 1);
    Content->file.WriteString(text);
}

template <class T>
SVMutableArray<T> SVMatlabDataFile::ReadArray(const std::string& name) const
{
    const ReaderWords words = wordsOf<T>();
    const SVMatlabDataEntry entry = Content->Find(name);
    if (entry.location < 0) {
        SVErrorMessage(words.notFound, notFoundText(name));
        return {};
    }
    const int type = entry.type % kSVMatlabTypeModulus;
    const int elementSize = SVMatlabElementSize(type);
    const long long end = SVEndOfData(entry.location, entry.m, entry.n, 1, elementSize < 0 ? 1 : elementSize);
    const auto* reader = std::find_if(std::begin(kMatrixReaders<T>), std::end(kMatrixReaders<T>),
        [type](const MatrixReader<T>& row) { return row.type == type; });
    const bool isLegal = reader != std::end(kMatrixReaders<T>);
    if (!isLegal)
        SVErrorMessage(words.illegalType, words.illegalTypeText);
    if (end < 0 || end > Content->file.Length())
        return {}; // A matrix cut short by the end of the file.
    Shape shape{entry.m, entry.n, 1};
    if (const std::string companion = name + "_3D"; Contains(companion)) {
        const int rows = ReadInt(companion);
        if (rows > 0)
            shape = {rows, entry.m / rows, entry.n};
    }
    if (isLegal)
        return reader->read(*Content, entry, shape);
    SVMutableArray<T> asCreated(shape.m, shape.n, shape.o);
    asCreated = T(0);
    return asCreated;
}

std::string SVMatlabDataFile::ReadString(const std::string& name) const
{
    constexpr const char* kWord = "dataFile.ReadString(name)";
    const SVMatlabDataEntry entry = Content->Find(name);
    if (entry.location < 0) {
        SVErrorMessage(kWord, notFoundText(name));
        return {};
    }
    if (entry.m == 0 || entry.n == 0)
        return {};
    const int type = entry.type % kSVMatlabTypeModulus;
    if (type != kSVMatlabText && type != kSVMatlabTextAsDoubles) {
        SVErrorMessage(kWord, "The variable \"" + name + "\" is not saved as a string.");
        return {};
    }
    const int elementSize = SVMatlabElementSize(type);
    const long long end = SVEndOfData(entry.location, entry.m, entry.n, 1, elementSize);
    if (end < 0 || end > Content->file.Length())
        return {};
    const Shape shape{entry.m, entry.n, 1};
    std::string text;
    if (type == kSVMatlabText) {
        const SVCharArray bytes = readStored<signed char>(*Content, entry, shape, false);
        text.assign(reinterpret_cast<const char*>(bytes.Pointer()), static_cast<std::size_t>(bytes.Length()));
        text.resize(std::min(text.find('\0'), text.size()));
    } else {
        const SVDoubleArray codes = readStored<double>(*Content, entry, shape, false);
        for (long i = 0; i < codes.Length(); ++i)
            text += truncatedToByte(codes(i));
    }
    return text;
}

std::string SVMatlabDataFile::Listing() const
{
    SVDataListing listing{Content->file.Name(), "one entry", 390, 10, {}};
    for (const auto& [name, entry] : Content->content)
        listing.entries.push_back({entry.location, name});
    return listing.Text([this](const std::string& name) { return ListedValue(name); });
}

std::string SVMatlabDataFile::ListedValue(const std::string& name) const
{
    const Description entry = Describe(name);
    const SVFileType* const type = SVTypeWithCode(kSVMatlabTypes, entry.type);
    const bool isReadable = type && entry.location >= 0;
    const std::string label = type ? type->label : " - unknown - ";
    if (isReadable && SavedAsString(name))
        return label + SVDataListing::ValueOfString(ReadString(name));
    const bool isNumber = isReadable && entry.m == 1 && entry.n == 1;
    const double number = isNumber ? ReadNumber(name) : 0;
    const bool isReal = entry.type == SVMatlabCode<double> || entry.type == SVMatlabCode<float>;
    return label
        + SVDataListing::ValueOfArray(entry.m, entry.n, 1, SVDataListing::NumberText(number, !isReal));
}

void SVMatlabDataFile::printInfo() const
{
    std::fputs(Listing().c_str(), stderr);
    std::fflush(stderr);
}

template class SVArrayStorageOf<SVMatlabDataFile>;
