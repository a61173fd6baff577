#include "text/files/LineIndex.h"

#include <algorithm>
#include <limits>

namespace {
constexpr std::size_t kLinesOfBlock = std::size_t{1} << 16;
constexpr std::int64_t kLargestOffset = std::numeric_limits<std::uint32_t>::max();
} // namespace

void LineIndex::clear()
{
    blocks_.clear();
    finished_ = start_ = size_ = 0;
}

void LineIndex::add(std::int64_t size, std::span<const LineEnd> ends, bool completesPair)
{
    if (completesPair)
        start_ = size_ + 1;
    for (const LineEnd& line : ends) {
        addLine(size_ + line.end);
        start_ = size_ + line.next;
    }
    size_ += size;
}

void LineIndex::addLine(std::int64_t end)
{
    const std::int64_t line = finished_++;
    if (line >= linesKept_ && (line - linesKept_) % kStride != 0)
        return;
    Block& block = blockFor(end);
    block.lines.push_back({static_cast<std::uint32_t>(start_ - block.base),
        static_cast<std::uint32_t>(std::min(end - block.base, kLargestOffset))});
}

// The last block, or a new one where that is full or its offsets don't reach.
LineIndex::Block& LineIndex::blockFor(std::int64_t end)
{
    const std::int64_t line = finished_ - 1;
    const std::int64_t stride = line < linesKept_ ? 1 : kStride;
    if (blocks_.empty() || blocks_.back().lines.size() == kLinesOfBlock || blocks_.back().stride != stride
        || end - blocks_.back().base > kLargestOffset)
        blocks_.push_back({line, stride, start_});
    return blocks_.back();
}

LineIndex::Place LineIndex::place(std::int64_t line) const
{
    if (line >= finished_)
        return {start_, size_, 0};
    const auto behind = std::upper_bound(blocks_.begin(), blocks_.end(), line,
        [](std::int64_t wanted, const Block& block) { return wanted < block.firstLine; });
    const Block& block = *(behind - 1);
    const std::int64_t inside = line - block.firstLine;
    const Span& span = block.lines[static_cast<std::size_t>(inside / block.stride)];
    return {block.base + span.start, block.base + span.end, inside % block.stride};
}

LineIndex::Kept LineIndex::keptLineAt(std::int64_t offset) const
{
    if (offset >= start_ || blocks_.empty())
        return {finished_, start_, true};
    const auto behind = std::upper_bound(blocks_.begin(), blocks_.end(), offset,
        [](std::int64_t wanted, const Block& block) { return wanted < block.base; });
    const Block& block = behind == blocks_.begin() ? *behind : *(behind - 1);
    const auto after = std::upper_bound(block.lines.begin(), block.lines.end(), offset - block.base,
        [](std::int64_t wanted, const Span& span) { return wanted < span.start; });
    const auto found = after == block.lines.begin() ? after : after - 1;
    return {block.firstLine + (found - block.lines.begin()) * block.stride, block.base + found->start,
        block.stride == 1};
}

std::int64_t LineIndex::memoryUsed() const
{
    std::size_t bytes = blocks_.capacity() * sizeof(Block);
    for (const Block& block : blocks_)
        bytes += block.lines.capacity() * sizeof(Span);
    return static_cast<std::int64_t>(bytes);
}
