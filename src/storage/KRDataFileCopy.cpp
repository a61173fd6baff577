// KRDataFile::copyInto().

#include "platform/files/FileManager.h"
#include "storage/KRDataFile.h"
#include "storage/bytes/FileCopy.h"

#include <algorithm>
#include <unistd.h>

namespace {

// False when the target isn't a whole copy.
bool copyFile(const std::string& from, const std::optional<DataFileStream::Identity>& identity,
    std::uint64_t count, const std::string& to, bool allowLink, const KRProgressCPP& progress)
{
    using Access = DataFileStream::Access;
    if (count == 0 && platform::files::isDirectory(from)) // A stack without members.
        return DataFileStream::open(to, Access::New) != nullptr;
    const auto source = DataFileStream::open(from, Access::Read);
    if (!source || (identity && source->identity() != *identity))
        return false;
    if (allowLink && ::link(from.c_str(), to.c_str()) == 0)
        return true;
    if (DataFileStream::isNamed(to, source->identity())) // Emptying it would lose the file.
        return allowLink;
    const auto target = DataFileStream::open(to, Access::New);
    return target && storage::copyBytes(source->descriptor(), target->descriptor(), count, progress);
}

} // namespace

KRDataFile::Pointer KRDataFile::copyInto(
    const std::string& path, const KRProgressCPP& withProgress, bool allowLink)
{
    if (path.empty())
        return nullptr;
    Copied copy;
    std::string from;
    std::optional<DataFileStream::Identity> identity;
    {
        const std::lock_guard lock(accessLock_);
        copy.content = theContent_;
        // The understood part may end before a complete entry, which is listed.
        copy.fileLength = std::max<std::uint64_t>(currentLengthOfFile_, endOfEntries_);
        copy.endOfEntries = endOfEntries_;
        from = fileName_;
        identity = identity_;
        currentlyCopying_ = true;
    }
    const bool whole = copyFile(from, identity, copy.fileLength, path, allowLink, withProgress);
    {
        const std::lock_guard lock(accessLock_);
        currentlyCopying_ = false;
    }
    copy.fileName = path;
    copy.stream = whole ? DataFileStream::open(path, DataFileStream::Access::Read) : nullptr;
    return copy.stream ? copyOn(std::move(copy)) : nullptr;
}
