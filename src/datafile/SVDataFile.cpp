#include "datafile/SVDataFile.h"

#include "arrays/sv/SVArrayByteOrder.h"
#include "arrays/sv/SVArrayConversion.h"
#include "arrays/sv/SVErrorMessage.h"
#include "datafile/SVArrayStorageInternal.h"
#include "datafile/SVDataFileContent.h"
#include "datafile/SVDataFileFormat.h"
#include "datafile/SVDataFileIndex.h"
#include "datafile/SVDataListing.h"
#include "datafile/SVFileWords.h"
#include "datafile/SVRecordReader.h"
#include "datafile/SVRegularFile.h"

#include <unistd.h>

#include <algorithm>
#include <type_traits>

namespace {

// Holds the lock of a content.
class ContentGuard {
public:
    explicit ContentGuard(SVDataFileContent& content) : content_(content) { content_.Lock(); }
    ~ContentGuard() { content_.Unlock(); }
    ContentGuard(const ContentGuard&) = delete;
    ContentGuard& operator=(const ContentGuard&) = delete;

private:
    SVDataFileContent& content_;
};

template <class T>
std::string readWord()
{
    return std::string("dataFile.Read") + SVArrayMemberOf<T>.stem + "Array(name)";
}

// Reads the stored elements; empty, with a report, if the file ends before them.
template <class Stored>
SVMutableArray<Stored> readStored(SVDataFileContent& content, const SVDataEntry& entry)
{
    const long long end = SVEndOfData(entry.location, entry.m, entry.n, entry.o, sizeof(Stored));
    if (end < 0 || end > content.file.Length()) {
        // Reported before any allocation by sizes that the file can't hold.
        SVErrorMessage(
            std::string("SVFile::ReadBinary(") + SVArrayMemberOf<Stored>.stem + "Array)", kSVTooFewValues);
        return {};
    }
    SVMutableArray<Stored> array(entry.m, entry.n, entry.o);
    content.file.SetPosition(entry.location);
    content.atEnd = false;
    if (!content.file.ReadBinary(array))
        return {};
    if constexpr (sizeof(Stored) > 1) {
        if (content.swapBytes)
            SwapEndian(array);
    }
    return array;
}

template <class T, class Stored>
SVMutableArray<T> readConverted(SVDataFileContent& content, const SVDataEntry& entry)
{
    if constexpr (std::is_same_v<T, Stored>)
        return readStored<T>(content, entry);
    else
        return SVConvertedArray<T>(readStored<Stored>(content, entry));
}

// From a stored type to the function that reads it as T.
template <class T>
struct NativeReader {
    int code;
    SVMutableArray<T> (*read)(SVDataFileContent&, const SVDataEntry&);
};
template <class T, class Stored>
constexpr NativeReader<T> kNativeReaderOf{SVDataFileCode<Stored>, readConverted<T, Stored>};
template <class T>
constexpr NativeReader<T> kNativeReaders[] = {kNativeReaderOf<T, double>, kNativeReaderOf<T, float>,
    kNativeReaderOf<T, std::int32_t>, kNativeReaderOf<T, std::int16_t>, kNativeReaderOf<T, std::uint16_t>,
    kNativeReaderOf<T, signed char>, kNativeReaderOf<T, unsigned char>};

} // namespace

SVDataFile::SVDataFile() : Content(new SVDataFileContent(SVFile())) { }

SVDataFile::SVDataFile(const std::string& name, SVFile::OpenType openType)
{
    if (openType == SVFile::NewReadWrite)
        ::unlink(SVIndexFileNameForNewFile(name).c_str());
    Content = new SVDataFileContent(SVFile(name, openType));
}

SVDataFile::SVDataFile(const SVFile& file)
{
    if (file.IsOpen() && file.Length() == 0)
        ::unlink(SVIndexFileNameForNewFile(file.Name()).c_str());
    Content = new SVDataFileContent(file);
}

SVDataFile::SVDataFile(const SVDataFile& other) : SVArrayStorageOf<SVDataFile>(other), Content(other.Content)
{
    const ContentGuard guard(*Content);
    ++Content->referenceCount;
}

SVDataFile& SVDataFile::operator=(const SVDataFile& other)
{
    if (Content == other.Content)
        return *this;
    SVDataFileContent* const old = Content;
    old->Lock();
    other.Content->Lock();
    const int left = --old->referenceCount;
    Content = other.Content;
    ++Content->referenceCount;
    Content->Unlock();
    old->Unlock();
    if (left == 0)
        delete old;
    return *this;
}

SVDataFile::~SVDataFile()
{
    Release();
}

void SVDataFile::Release()
{
    Content->Lock();
    const int left = --Content->referenceCount;
    Content->Unlock();
    if (left == 0)
        delete Content;
}

bool SVDataFile::IsOpen() const
{
    return Content->file.IsOpen();
}

bool SVDataFile::IsReadOnly() const
{
    return Content->file.IsReadOnly();
}

SVMutablePointer<SVDataStorage> SVDataFile::AsPointer() const
{
    return SVMutablePointer<SVDataStorage>(new SVDataFile(*this));
}

SVDataFile::Description SVDataFile::Describe(const std::string& name) const
{
    const ContentGuard guard(*Content);
    const SVDataEntry entry = Content->Find(name);
    return {entry.type, entry.m, entry.n, entry.o, entry.location};
}

bool SVDataFile::Contains(const std::string& name) const
{
    return Describe(name).location >= 0;
}

std::vector<std::string> SVDataFile::AllVariableNames() const
{
    const ContentGuard guard(*Content);
    std::vector<std::string> names;
    names.reserve(Content->content.size());
    for (const auto& entry : Content->content)
        names.push_back(entry.first);
    return names;
}

bool SVDataFile::SavedAsCharacter(const std::string& name) const
{
    const int type = Describe(name).type;
    return type == 11 || type == 12;
}

bool SVDataFile::SavedAsShort(const std::string& name) const
{
    const int type = Describe(name).type;
    return type == 9 || type == 10;
}

bool SVDataFile::SavedAsInt(const std::string& name) const
{
    return Describe(name).type == 8;
}

bool SVDataFile::SavedAsDouble(const std::string& name) const
{
    return Describe(name).type == 1;
}

bool SVDataFile::SavedAsString(const std::string& name) const
{
    return Describe(name).type == kSVStringType;
}

void SVDataFile::Flush()
{
    const ContentGuard guard(*Content);
    if (!Content->file.IsReadOnly())
        Content->file.Flush();
}

void SVDataFile::SaveIndex()
{
    const ContentGuard guard(*Content);
    Content->saveIndex = true;
}

bool SVDataFile::WriteIndexFile()
{
    constexpr const char* kWord = "SVDataFile::WriteIndexFile";
    const ContentGuard guard(*Content);
    if (!Content->file.IsOpen()) {
        SVErrorMessage(kWord, "Empty File.");
        return false;
    }
    if (!Content->isSound)
        return false; // The scan has reported.
    // An index may list less than the file holds, and hides what a scan would report.
    Content->atEnd = false;
    const SVDataFileContent scanned(Content->file, SVDataFileContent::Search::ScanAlone);
    if (!scanned.isSound)
        return false; // The scan has reported.
    if (scanned.swapBytes) {
        SVErrorMessage(kWord, "An index can't be made for a file of the other byte order.");
        return false;
    }
    if (SVReplaceFile(SVIndexFileNameForReading(Content->file.Name()), SVIndexFileBytes(scanned.content)))
        return true;
    SVErrorMessage(kWord, "Could not create the index file");
    return false;
}

void SVDataFile::Sync()
{
    const ContentGuard guard(*Content);
    if (Content->file.IsReadOnly() || !Content->file.IsOpen())
        return;
    Content->file.Flush();
    const std::string name = Content->file.Name();
    const auto period = name.rfind('.');
    const auto slash = name.rfind('/');
    const std::size_t bareName = slash == std::string::npos ? 0 : slash + 1;
    if (period == std::string::npos || period <= bareName)
        return; // The period belongs to a folder's name or hides the file.
    const long long length = Content->file.Length();
    const std::string syncName = name.substr(0, period) + ".sync";
    std::remove(syncName.c_str());
    if (std::FILE* sync = std::fopen(syncName.c_str(), "w+b")) {
        std::fwrite(&length, sizeof length, 1, sync);
        std::fclose(sync);
    }
}

template <class T>
void SVDataFile::SaveArray(const SVArray<T>& array, const std::string& name)
{
    const ContentGuard guard(*Content);
    if (!Content->PrepareToWrite(name))
        return;
    Content->WriteHeader(name, SVDataFileCode<T>, array.m(), array.n(), array.o(),
        array.Length() * static_cast<long long>(sizeof(T)));
    if constexpr (sizeof(T) > 1) {
        if (Content->swapBytes && array.NotEmpty()) {
            SVMutableArray<T> swapped = array.Copy(); // The caller's array stays as it is.
            SwapEndian(swapped);
            Content->file.WriteBinary<T>(swapped);
            return;
        }
    }
    Content->file.WriteBinary(array);
}

void SVDataFile::Save(int value, const std::string& name)
{
    SVMutableIntArray array(1);
    array(0) = value;
    SaveArray<std::int32_t>(array, name);
}

void SVDataFile::Save(double value, const std::string& name)
{
    SVMutableDoubleArray array(1);
    array(0) = value;
    SaveArray<double>(array, name);
}

void SVDataFile::Save(const std::string& text, const std::string& name)
{
    const ContentGuard guard(*Content);
    if (!Content->PrepareToWrite(name))
        return;
    const auto length = static_cast<long>(text.size()) + 1;
    Content->WriteHeader(name, kSVStringType, length, 1, 1, length);
    Content->file.WriteStringWithZero(text);
}

template <class T>
SVMutableArray<T> SVDataFile::ReadArray(const std::string& name) const
{
    const ContentGuard guard(*Content);
    const std::string word = readWord<T>();
    const SVDataEntry entry = Content->Find(name);
    if (entry.location < 0) {
        SVErrorMessage(word, "Did not find the variable \"" + name + "\" inside the datafile.");
        return {};
    }
    // The readers of single bytes accept a string, too.
    const int code = sizeof(T) == 1 && entry.type == kSVStringType ? SVDataFileCode<T> : entry.type;
    const auto* reader = std::find_if(std::begin(kNativeReaders<T>), std::end(kNativeReaders<T>),
        [code](const NativeReader<T>& row) { return row.code == code; });
    if (reader == std::end(kNativeReaders<T>)) {
        // Both readers of bytes report under the word of the first.
        if constexpr (sizeof(T) == 1)
            SVErrorMessage(readWord<signed char>(), "Haven't taken care of this case.");
        else
            SVErrorMessage(word, "Trying to read in a string.");
        return {};
    }
    return reader->read(*Content, entry);
}

std::string SVDataFile::ReadString(const std::string& name) const
{
    constexpr const char* kWord = "dataFile.ReadString(name)";
    const ContentGuard guard(*Content);
    const SVDataEntry entry = Content->Find(name);
    if (entry.location < 0) {
        SVErrorMessage(kWord, "Did not find the string \"" + name + "\" inside the datafile.");
        return {};
    }
    if (entry.type != kSVStringType) {
        SVErrorMessage(kWord, "The variable \"" + name + "\" is not a string.");
        return {};
    }
    if (entry.m == 0)
        return {};
    const long long end = SVEndOfData(entry.location, entry.m, entry.n, entry.o, 1);
    if (end < 0 || end > Content->file.Length()) {
        SVErrorMessage(
            "SVFile::ReadString(length)", "Could not read the required number of characters from the file");
        return {};
    }
    Content->file.SetPosition(entry.location);
    Content->atEnd = false;
    std::string text = Content->file.ReadString(static_cast<unsigned long>(end - entry.location));
    // Two stored forms: with a NUL at the end the text ends at the first NUL, without it the text is all
    // bytes.
    if (!text.empty() && text.back() == '\0')
        text.resize(text.find('\0'));
    return text;
}

// Copies the entries under the lock. The values are read later, each under the lock, which doesn't nest.
SVDataListing SVDataFile::EntriesToList() const
{
    const ContentGuard guard(*Content);
    SVDataListing listing{Content->file.Name(), "1 entry", 350, 30, {}};
    for (const auto& [name, entry] : Content->content)
        listing.entries.push_back({entry.location, name});
    return listing;
}

std::string SVDataFile::Listing() const
{
    SVDataListing listing = EntriesToList();
    return listing.Text([this](const std::string& name) { return ListedValue(name); });
}

std::string SVDataFile::ListedValue(const std::string& name) const
{
    const Description entry = Describe(name);
    const SVFileType* const type = SVTypeWithCode(kSVDataFileTypes, entry.type);
    const std::string label = type ? type->label : " - unknown - ";
    if (entry.type == kSVStringType)
        return label + SVDataListing::ValueOfString(ReadString(name));
    const bool isNumber = type && entry.m == 1 && entry.n == 1 && entry.o == 1;
    const double number = isNumber ? ReadNumber(name) : 0;
    const bool isReal = entry.type == SVDataFileCode<double> || entry.type == SVDataFileCode<float>;
    return label
        + SVDataListing::ValueOfArray(entry.m, entry.n, entry.o, SVDataListing::NumberText(number, !isReal));
}

void SVDataFile::printInfo() const
{
    std::fputs(Listing().c_str(), stderr);
    std::fflush(stderr);
}

template class SVArrayStorageOf<SVDataFile>;
