#include "text/files/IndexedTextFile.h"

#include "text/files/LineText.h"

#include <algorithm>
#include <fcntl.h>
#include <unistd.h>

namespace {

// What is shown of the bytes of a line, which may have been cut.
std::string shownLine(std::string bytes)
{
    if (static_cast<std::int64_t>(bytes.size()) == IndexedTextFile::kLongestLine)
        bytes.resize(bytes.size() - tornAtEnd(bytes));
    // The file may have changed since it was indexed.
    bytes.resize(std::min(bytes.find_first_of("\r\n"), bytes.size()));
    return decodedLine(std::move(bytes));
}

} // namespace

GrowingFile::Read IndexedTextFile::readNew(int mostBlocks, const std::function<bool()>& goOn)
{
    const std::lock_guard scanning(scanLock_);
    const auto read = file_.readNew(
        [&](std::string_view block) {
            take(block);
            return goOn();
        },
        mostBlocks);
    if (timesStartedAnew() != file_.timesStartedAnew())
        take({}); // It was cut to nothing.
    return read;
}

void IndexedTextFile::take(std::string_view block)
{
    const bool isAnew = timesStartedAnew() != file_.timesStartedAnew();
    if (isAnew)
        scanner_.startAnew();
    ends_.clear();
    const bool completesPair = scanner_.scan(block, ends_);
    const std::lock_guard access(accessLock_);
    if (isAnew) {
        index_.clear();
        reader_.reset();
        generation_ = file_.timesStartedAnew();
    }
    index_.add(static_cast<std::int64_t>(block.size()), ends_, completesPair);
}

std::int64_t IndexedTextFile::howManyLines() const
{
    const std::lock_guard access(accessLock_);
    return index_.count();
}

std::int64_t IndexedTextFile::size() const
{
    const std::lock_guard access(accessLock_);
    return index_.size();
}

int IndexedTextFile::timesStartedAnew() const
{
    const std::lock_guard access(accessLock_);
    return generation_;
}

std::string IndexedTextFile::line(std::int64_t number)
{
    const std::lock_guard access(accessLock_);
    return lineInsideLock(number);
}

std::string IndexedTextFile::lineInsideLock(std::int64_t number)
{
    if (number < 0 || number >= index_.count())
        return {};
    const LineIndex::Place place = index_.place(number);
    return shownLine(place.skip > 0 ? bytesBehind(place)
                                    : bytesAt(place.start, std::min(place.end - place.start, kLongestLine)));
}

std::int64_t IndexedTextFile::appendLines(std::int64_t first, std::int64_t end, std::string& text)
{
    const std::lock_guard access(accessLock_);
    if (first < 0 || first >= std::min(end, index_.count()))
        return end;
    const std::int64_t start = index_.place(first).start;
    const std::string block = bytesAt(start, std::min(kBlockSize, index_.size() - start));
    std::int64_t number = first;
    for (; number < std::min(end, index_.count()); ++number) {
        const LineIndex::Place place = index_.place(number);
        const std::int64_t count = std::min(place.end - place.start, kLongestLine);
        const std::int64_t offset = place.start - start;
        const bool isInBlock = place.skip == 0 && offset + count <= static_cast<std::int64_t>(block.size());
        if (!isInBlock && number > first)
            return number;
        text += isInBlock
            ? shownLine(block.substr(static_cast<std::size_t>(offset), static_cast<std::size_t>(count)))
            : lineInsideLock(number);
        text += '\n';
    }
    return end;
}

std::string IndexedTextFile::bytesAt(std::int64_t start, std::int64_t count)
{
    if (!reader_)
        reader_.reset(::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    std::string bytes(static_cast<std::size_t>(std::max<std::int64_t>(count, 0)), '\0');
    const ssize_t read = platform::retryInterrupted(
        [&] { return reader_ ? ::pread(reader_.get(), bytes.data(), bytes.size(), start) : ssize_t{0}; });
    bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(read, 0)));
    return bytes;
}

// A line that isn't kept: reads on from one before it.
std::string IndexedTextFile::bytesBehind(LineIndex::Place place)
{
    LineScanner scanner;
    std::vector<LineEnd> ends;
    std::int64_t at = place.start;
    std::int64_t skip = place.skip;
    while (at < index_.size()) {
        const std::string block = bytesAt(at, std::min(kBlockSize, index_.size() - at));
        if (block.empty())
            break;
        ends.clear();
        scanner.scan(block, ends);
        if (static_cast<std::int64_t>(ends.size()) >= skip) {
            std::int64_t start = at + ends[static_cast<std::size_t>(skip - 1)].next;
            const bool isHalf = block.back() == '\r' && start == at + static_cast<std::int64_t>(block.size());
            if (isHalf && bytesAt(start, 1) == "\n")
                ++start;
            return bytesAt(start, std::min(kLongestLine, index_.size() - start));
        }
        skip -= static_cast<std::int64_t>(ends.size());
        at += static_cast<std::int64_t>(block.size());
    }
    return {};
}

std::string IndexedTextFile::bytes(std::int64_t start, std::int64_t count)
{
    const std::lock_guard access(accessLock_);
    return bytesAt(start, std::clamp(index_.size() - start, std::int64_t{0}, count));
}

IndexedTextFile::LineStart IndexedTextFile::lineAt(std::int64_t offset)
{
    const std::lock_guard access(accessLock_);
    const LineIndex::Kept kept = index_.keptLineAt(offset);
    const LineStart found{kept.line, kept.start};
    return kept.isNextKept ? found : lineBehind(found, offset);
}

// Counts the line ends between a line that is kept and the offset.
IndexedTextFile::LineStart IndexedTextFile::lineBehind(LineStart kept, std::int64_t offset)
{
    LineScanner scanner;
    std::vector<LineEnd> ends;
    for (std::int64_t at = kept.start; at < offset;) {
        const std::string block = bytesAt(at, std::min(kBlockSize, offset - at));
        if (block.empty())
            break;
        ends.clear();
        if (scanner.scan(block, ends))
            kept.start = at + 1;
        kept.line += static_cast<std::int64_t>(ends.size());
        if (!ends.empty())
            kept.start = at + ends.back().next;
        at += static_cast<std::int64_t>(block.size());
    }
    return kept;
}

std::int64_t IndexedTextFile::startOf(std::int64_t line)
{
    const std::lock_guard access(accessLock_);
    if (line < 0 || line >= index_.count())
        return line < 0 ? 0 : index_.size();
    LineIndex::Place place = index_.place(line);
    LineScanner scanner;
    std::vector<LineEnd> ends;
    // Lines that aren't kept follow within a few blocks.
    while (place.skip > 0) {
        const std::string block = bytesAt(place.start, std::min(kBlockSize, index_.size() - place.start));
        ends.clear();
        scanner.scan(block, ends);
        if (block.empty())
            break;
        const auto found = static_cast<std::int64_t>(ends.size());
        if (found >= place.skip)
            return place.start + ends[static_cast<std::size_t>(place.skip - 1)].next;
        place.skip -= found;
        place.start += static_cast<std::int64_t>(block.size());
    }
    return place.start;
}

void IndexedTextFile::closeFiles()
{
    if (const std::unique_lock scanning(scanLock_, std::try_to_lock); scanning)
        file_.close();
    const std::lock_guard access(accessLock_);
    reader_.reset();
}
