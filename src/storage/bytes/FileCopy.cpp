#include "storage/bytes/FileCopy.h"

#include "datafile/SVReadAhead.h"
#include "platform/files/Descriptor.h"

#include <algorithm>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace storage {
namespace {

constexpr std::uint64_t kBlock = 163840; // Bytes.
constexpr std::uint64_t kStep = 30 * kBlock; // Between two looks at the progress.

// By the system, which may share the blocks; false where it can't.
bool copyInSystem(int from, int to, std::uint64_t start, std::uint64_t count)
{
    auto place = static_cast<loff_t>(start);
    while (count > 0) {
        const auto copied = platform::retryInterrupted(
            [&] { return ::copy_file_range(from, &place, to, nullptr, count, 0); });
        if (copied <= 0)
            return false;
        count -= static_cast<std::uint64_t>(copied);
    }
    return true;
}

bool copyThroughMemory(int from, int to, std::uint64_t start, std::uint64_t count)
{
    std::vector<char> block(std::min(kBlock, count));
    for (std::uint64_t done = 0; done < count;) {
        const std::size_t wanted = std::min<std::uint64_t>(block.size(), count - done);
        const std::size_t got = SVReadAt(from, static_cast<long long>(start + done), block.data(), wanted);
        if (got == 0 || !platform::writeAll(to, std::string_view(block.data(), got)))
            return false;
        done += got;
    }
    return true;
}

} // namespace

bool copyBytes(int from, int to, std::uint64_t count, const KRProgressCPP& progress)
{
    const auto origin = ::lseek(to, 0, SEEK_CUR);
    for (std::uint64_t done = 0; done < count;) {
        if (progress.UserHasAborted())
            return false;
        const std::uint64_t step = std::min(kStep, count - done);
        if (!copyInSystem(from, to, done, step)) {
            // A part of the step may be there already.
            if (::lseek(to, origin + static_cast<off_t>(done), SEEK_SET) < 0
                || !copyThroughMemory(from, to, done, step))
                return false;
        }
        done += step;
        progress.UpdatePercentage(static_cast<float>(static_cast<double>(done) / static_cast<double>(count)));
    }
    return true;
}

} // namespace storage
