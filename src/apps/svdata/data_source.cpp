#include "apps/svdata/data_source.h"

#include "datafile/SVDataFileFormat.h"
#include "datafile/SVDataFileIndex.h"
#include "datafile/SVMatlabDataFileContent.h"
#include "datafile/SVMatlabFormat.h"
#include "datafile/SVRecordReader.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <limits>

bool hasExtension(const std::string& path, const std::string& small)
{
    std::string extension = std::filesystem::path(path).extension().string();
    for (char& c : extension)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return extension == small;
}

bool DataSource::isMatlab(const std::string& path)
{
    return hasExtension(path, ".mat");
}

std::optional<DataSource> DataSource::open(const std::string& path)
{
    // By its name: adopting an empty file would remove its index.
    if (isMatlab(path)) {
        SVMatlabDataFile file(path, SVFile::ReadOnly);
        return file.IsOpen() ? std::optional(DataSource(std::move(file))) : std::nullopt;
    }
    SVDataFile file(path, SVFile::ReadOnly);
    return file.IsOpen() ? std::optional(DataSource(std::move(file))) : std::nullopt;
}

bool DataSource::writeIndex(const std::string& path)
{
    // The old index would be believed, although the file may have grown.
    ::unlink((isMatlab(path) ? SVMatlabIndexFileName(path) : SVIndexFileNameForReading(path)).c_str());
    std::optional<DataSource> source = open(path);
    if (!source)
        return false;
    if (auto* native = std::get_if<SVDataFile>(&source->file_))
        return native->WriteIndexFile();
    std::get<SVMatlabDataFile>(source->file_).SaveIndex();
    return SVFile::CanOpen(SVMatlabIndexFileName(path), SVFile::ReadOnly);
}

const SVDataStorage& DataSource::storage() const
{
    return std::visit([](const auto& file) -> const SVDataStorage& { return file; }, file_);
}

std::string DataSource::listing() const
{
    return std::visit([](const auto& file) { return file.Listing(); }, file_);
}

namespace {

// 0 if a dimension is negative or the size in bytes overflows.
long elementsOf(int m, int n, int o)
{
    constexpr int kLargestElement = 8;
    const long long end = SVEndOfData(0, m, n, o, kLargestElement);
    return end < 0 || end == std::numeric_limits<long long>::max() ? 0
                                                                   : static_cast<long>(end / kLargestElement);
}

} // namespace

DataSource::Variable DataSource::describe(const std::string& name) const
{
    if (const auto* native = std::get_if<SVDataFile>(&file_)) {
        const SVDataFile::Description entry = native->Describe(name);
        const SVFileType* const type = SVTypeWithCode(kSVDataFileTypes, entry.type);
        const long stored = elementsOf(entry.m, entry.n, entry.o);
        const long bytes = stored * (type ? type->elementSize : 1);
        return {name, entry.type, entry.m, entry.n, entry.o, stored, bytes, entry.location};
    }
    const auto& matlab = std::get<SVMatlabDataFile>(file_);
    const SVMatlabDataFile::Description entry = matlab.Describe(name);
    const long stored = elementsOf(entry.m, entry.n, 1);
    const long bytes = stored * std::max(1, SVMatlabElementSize(entry.type));
    const std::string companion = name + kCompanionEnding;
    const bool hasCompanion = matlab.Contains(companion) && !matlab.SavedAsString(companion);
    const int rows = hasCompanion ? matlab.ReadInt(companion) : 0;
    if (rows > 0)
        return {name, entry.type, rows, entry.m / rows, entry.n, stored, bytes, entry.location};
    return {name, entry.type, entry.m, entry.n, 1, stored, bytes, entry.location};
}

std::vector<DataSource::Variable> DataSource::variables() const
{
    std::vector<Variable> all;
    for (const std::string& name : storage().AllVariableNames())
        all.push_back(describe(name));
    return all;
}

std::string DataSource::nameOfShaped(const std::string& name) const
{
    const std::string ending = kCompanionEnding;
    if (name.size() <= ending.size() || name.substr(name.size() - ending.size()) != ending)
        return {};
    const std::string shaped = name.substr(0, name.size() - ending.size());
    return storage().Contains(shaped) ? shaped : std::string();
}

bool DataSource::isInternal(const std::string& name) const
{
    if (std::holds_alternative<SVDataFile>(file_))
        return name == kSVIndexBlockName;
    return !nameOfShaped(name).empty() && !storage().SavedAsString(name) && storage().ReadInt(name) > 0;
}

bool DataSource::isTakenForShape(const Variable& variable) const
{
    const std::string shaped = nameOfShaped(variable.name);
    if (shaped.empty() || !hasKnownType(variable))
        return false;
    // A text would make every reader of the other variable report an illegal type.
    return describe(shaped).o > 1 || isText(variable) || storage().ReadInt(variable.name) > 0;
}

bool DataSource::isText(const Variable& variable) const
{
    return storage().SavedAsString(variable.name);
}

bool DataSource::hasKnownType(const Variable& variable) const
{
    return std::holds_alternative<SVDataFile>(file_) ? SVTypeWithCode(kSVDataFileTypes, variable.type)
                                                     : SVTypeWithCode(kSVMatlabTypes, variable.type);
}

std::string DataSource::readText(const Variable& variable, bool& isWhole) const
{
    if (std::holds_alternative<SVMatlabDataFile>(file_)) {
        std::string text = storage().ReadString(variable.name);
        isWhole = static_cast<long>(text.size()) == variable.stored;
        return text;
    }
    // As bytes: ReadString() stops at the first NUL.
    const SVCharArray bytes = storage().ReadCharArray(variable.name);
    isWhole = bytes.Length() == variable.stored;
    std::string text(bytes.Pointer(), bytes.Pointer() + bytes.Length());
    if (!text.empty() && text.back() == '\0')
        text.pop_back();
    return text;
}

DataSource::Stored DataSource::storedAs(const Variable& variable) const
{
    struct Row {
        int nativeCode;
        int matlabCode;
        Stored stored;
    };
    constexpr int kNone = -1;
    constexpr Row kRows[] = {
        {SVDataFileCode<double>, SVMatlabCode<double>, Stored::Double},
        {SVDataFileCode<float>, SVMatlabCode<float>, Stored::Float},
        {SVDataFileCode<std::int32_t>, SVMatlabCode<std::int32_t>, Stored::Int},
        {SVDataFileCode<std::int16_t>, SVMatlabCode<std::int16_t>, Stored::ShortInt},
        {SVDataFileCode<std::uint16_t>, SVMatlabCode<std::uint16_t>, Stored::UShortInt},
        {SVDataFileCode<unsigned char>, SVMatlabCode<unsigned char>, Stored::UChar},
        {SVDataFileCode<signed char>, kNone, Stored::Char},
        {kSVStringType, kSVMatlabTextAsDoubles, Stored::Text},
    };
    const bool native = std::holds_alternative<SVDataFile>(file_);
    for (const Row& row : kRows)
        if (variable.type == (native ? row.nativeCode : row.matlabCode))
            return row.stored;
    if (native || variable.type != kSVMatlabText)
        return Stored::Double; // An unknown type: the reader of doubles reports it.
    // A MAT-file has one type for text and signed bytes. A matrix, or a text with a NUL, is read as bytes.
    const long length = variable.m * variable.n * variable.o;
    const bool isLine = length == std::max({variable.m, variable.n, variable.o}) || length == 0;
    const auto textLength = [&] { return static_cast<long>(storage().ReadString(variable.name).size()); };
    return isLine && textLength() == length ? Stored::Text : Stored::Char;
}
