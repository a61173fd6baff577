#include "apps/svdata/data_source.h"

#include "datafile/SVDataFileFormat.h"
#include "datafile/SVDataFileIndex.h"
#include "datafile/SVMatlabDataFileContent.h"
#include "datafile/SVMatlabFormat.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>

bool DataSource::isMatlab(const std::string& path)
{
    return std::filesystem::path(path).extension() == ".mat";
}

std::optional<DataSource> DataSource::open(const std::string& path)
{
    // By its name: a file that is adopted counts as a new one when it is empty, and loses its index.
    if (isMatlab(path)) {
        SVMatlabDataFile file(path, SVFile::ReadOnly);
        return file.IsOpen() ? std::optional(DataSource(std::move(file))) : std::nullopt;
    }
    SVDataFile file(path, SVFile::ReadOnly);
    return file.IsOpen() ? std::optional(DataSource(std::move(file))) : std::nullopt;
}

bool DataSource::writeIndex(const std::string& path)
{
    // The old index would be believed, although the file may have grown since.
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

DataSource::Variable DataSource::describe(const std::string& name) const
{
    if (const auto* native = std::get_if<SVDataFile>(&file_)) {
        const SVDataFile::Description entry = native->Describe(name);
        return {name, entry.type, entry.m, entry.n, entry.o, entry.location};
    }
    const auto& matlab = std::get<SVMatlabDataFile>(file_);
    const SVMatlabDataFile::Description entry = matlab.Describe(name);
    const std::string companion = name + kCompanionEnding;
    const int rows = matlab.Contains(companion) ? matlab.ReadInt(companion) : 0;
    if (rows > 0)
        return {name, entry.type, rows, entry.m / rows, entry.n, entry.location};
    return {name, entry.type, entry.m, entry.n, 1, entry.location};
}

std::vector<DataSource::Variable> DataSource::variables() const
{
    std::vector<Variable> all;
    for (const std::string& name : storage().AllVariableNames())
        all.push_back(describe(name));
    return all;
}

bool DataSource::isInternal(const std::string& name) const
{
    if (std::holds_alternative<SVDataFile>(file_))
        return name == kSVIndexBlockName;
    const std::string ending = kCompanionEnding;
    return name.size() > ending.size()
        && name.compare(name.size() - ending.size(), ending.size(), ending) == 0
        && storage().Contains(name.substr(0, name.size() - ending.size())) && storage().ReadInt(name) > 0;
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
        return Stored::Double; // An unknown type, of which the reader of doubles makes its report.
    // Text and signed bytes are one in a MAT-file. What has more than one line, or would be cut at a NUL, is
    // read as bytes.
    const long length = variable.m * variable.n * variable.o;
    const bool isLine = length == std::max({variable.m, variable.n, variable.o}) || length == 0;
    const auto textLength = [&] { return static_cast<long>(storage().ReadString(variable.name).size()); };
    return isLine && textLength() == length ? Stored::Text : Stored::Char;
}
