// KRDataFile's functions that decide for a format.

#include "datafile/SVDataFileFormat.h"
#include "datafile/SVMatlabRecords.h"
#include "diagnostics/KRMessageCenter.h"
#include "platform/files/File.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "platform/files/TildePaths.h"
#include "storage/formats/KRDataFileAscii.h"
#include "storage/formats/KRDataFileBinary.h"
#include "storage/formats/KRDataFileMatBinary.h"
#include "storage/stacks/KRDataFileStack.h"

#include <fmt/format.h>

#include <algorithm>

namespace files = platform::files;
namespace paths = platform::paths;

namespace {

using FilePointer = KRDataFile::Pointer;

template <class File>
FilePointer openForReading(const std::string& path)
{
    return File::createWithName(path, false);
}
template <class File>
FilePointer open(const std::string& path)
{
    return File::createWithName(path);
}
template <class File>
FilePointer openNew(const std::string& path)
{
    return File::createNewFileWithName(path);
}
template <class File>
FilePointer rebuild(const platform::Value& structure)
{
    return File::createWithStructure(structure);
}

// The formats by the ending of a name; the first one is also the format of new files of any other name.
struct FormatRow {
    std::string_view ending;
    FilePointer (*openFile)(const std::string& path);
    FilePointer (*openNewFile)(const std::string& path);
};
constexpr FormatRow kFormats[] = {
    {".svbin", openForReading<KRDataFileBinary>, openNew<KRDataFileBinary>},
    {".mat", openForReading<KRDataFileMatBinary>, openNew<KRDataFileMatBinary>},
    {".ascii", openForReading<KRDataFileAscii>, open<KRDataFileAscii>},
    {".svascii", openForReading<KRDataFileAscii>, open<KRDataFileAscii>},
    {".svdata", open<KRDataFileStack>, open<KRDataFileStack>},
};

// The classes by the word of a structure.
struct StructureRow {
    std::string_view word;
    FilePointer (*rebuildFile)(const platform::Value& structure);
};
constexpr StructureRow kStructures[] = {
    {"Ascii", rebuild<KRDataFileAscii>},
    {"MatBinary", rebuild<KRDataFileMatBinary>},
    {"DataFileStack", rebuild<KRDataFileStack>},
    {"SVBinary", rebuild<KRDataFileBinary>},
};

const FormatRow* formatOf(const std::string& path)
{
    const auto* row = std::find_if(std::begin(kFormats), std::end(kFormats),
        [&](const FormatRow& format) { return path.ends_with(format.ending); });
    return row == std::end(kFormats) ? nullptr : row;
}

constexpr std::size_t kFirstBytes = 20; // The header of a Level 4 matrix.

FilePointer invalidFormat(const std::string& path)
{
    KRMessageCenter::addMessage(fmt::format("The file \"{}\" has an invalid format.", path));
    return nullptr;
}

bool isLevel4Header(const unsigned char* bytes)
{
    const FMatrix header = FMatrix::fromBytes(bytes, false);
    return header.namlen > 0 && header.type / 1000 == 1 && header.imagf == 0 && header.type % 10 <= 2
        && header.mrows >= 0 && header.ncols >= 0;
}

bool isText(unsigned char byte)
{
    return (byte >= 32 && byte <= 126) || byte >= 161 || byte == '\n' || byte == '\r';
}

// By the first bytes, for a name that tells nothing.
FilePointer openByContent(const std::string& path)
{
    const auto stream = DataFileStream::open(path, DataFileStream::Access::Read);
    if (!stream) {
        KRMessageCenter::addMessage(fmt::format("Could not open the file \"{}\".", path));
        return nullptr;
    }
    const std::uint64_t length = stream->length();
    unsigned char bytes[kFirstBytes];
    if (length == 0)
        return nullptr;
    if (length < sizeof bytes || !stream->readAt(0, bytes, sizeof bytes))
        return invalidFormat(path);
    if (std::equal(bytes, bytes + 8, "Sorvanta"))
        return openForReading<KRDataFileBinary>(path);
    if (isLevel4Header(bytes))
        return open<KRDataFileMatBinary>(path);
    if (std::all_of(std::begin(bytes), std::end(bytes), isText))
        return open<KRDataFileAscii>(path);
    return invalidFormat(path);
}

// Why a file can't be made.
std::string causeOfFailure(const std::string& path)
{
    if (files::isDirectory(path))
        return fmt::format(
            "Wanted to create the file \"{}\", but there is a directory with the same name in that place.",
            path);
    if (files::exists(path))
        return fmt::format(
            "Wanted to empty the file \"{}\", but could not. Make sure you own that file and can "
            "overwrite it.",
            path);
    std::string parent = paths::deletingLastComponent(path);
    if (parent.empty())
        parent = ".";
    if (files::isDirectory(parent))
        return fmt::format(
            "Could not create the file \"{}\". but could not. Make sure that you can create a file "
            "inside the directory \"{}\".",
            path, parent);
    if (files::exists(parent))
        return fmt::format("Could not create the file \"{}\". The problem is that \"{}\" is a file and not a "
                           "directory.",
            path, parent);
    std::string missing = parent;
    while (parent.size() > 1 && !files::exists(parent)) {
        missing = parent;
        parent = paths::deletingLastComponent(parent);
    }
    return fmt::format(
        "Wanted to create the file \"{}\", but could not. The first directory in the file path that "
        "doesn't exist is \"{}\" in the \"{}\" directory.",
        path, paths::lastComponent(missing), parent);
}

// An existing file is emptied; anything but a file stays.
bool makeEmptyFile(const std::string& path)
{
    const bool isThere = files::exists(path);
    if (isThere && !DataFileStream::open(path, DataFileStream::Access::ReadWrite))
        return false;
    const auto file = platform::File::open(path, platform::File::Mode::Replace);
    return file.ok();
}

std::string standardized(const std::string& path)
{
    return paths::standardizing(paths::expandingTilde(path));
}

} // namespace

KRDataFile::Pointer KRDataFile::openFileName(const std::string& path, const FileName& fileContainer,
    const FileName& indexFile, const KRProgressCPP& progress)
{
    if (path.empty())
        return nullptr;
    const std::string name = standardized(path);
    const FormatRow* format = formatOf(name);
    const Pointer file = format ? format->openFile(name) : openByContent(name);
    if (!file)
        return nullptr;
    file->setFileContainer(fileContainer);
    if (indexFile)
        file->setIndexFileContainer(indexFile);
    file->openFileWithProgress(progress);
    return file;
}

KRDataFile::Pointer KRDataFile::openFileName(
    const std::string& path, const FileName& fileContainer, const KRProgressCPP& progress)
{
    return openFileName(path, fileContainer, nullptr, progress);
}

KRDataFile::Pointer KRDataFile::openFileName(const std::string& path, const KRProgressCPP& progress)
{
    return openFileName(path, nullptr, nullptr, progress);
}

KRDataFile::Pointer KRDataFile::openFileContainer(const FileName& container, const KRProgressCPP& progress)
{
    return openFileContainer(container, nullptr, progress);
}

KRDataFile::Pointer KRDataFile::openFileContainer(
    const FileName& container, const FileName& indexFile, const KRProgressCPP& progress)
{
    return container ? openFileName(container->fileName(), container, indexFile, progress) : nullptr;
}

KRDataFile::Pointer KRDataFile::openNewFileWithName(const std::string& path)
{
    if (path.empty())
        return nullptr;
    const std::string name = standardized(path);
    if (!makeEmptyFile(name)) {
        KRMessageCenter::addMessage(
            fmt::format("Could not create the file \"{}\"", name), causeOfFailure(name));
        return nullptr;
    }
    const FormatRow* format = formatOf(path);
    return (format ? *format : kFormats[0]).openNewFile(path);
}

KRDataFile::Pointer KRDataFile::createFromStructure(const platform::Value& structure)
{
    const auto word = structure.textFor("Type");
    for (const StructureRow& row : kStructures)
        if (word == row.word)
            return row.rebuildFile(structure);
    KRMessageCenter::addMessage("Internal error: Unexpected data file type in createFromStructure");
    return nullptr;
}
