#include "storage/StoredArray.h"

#include "storage/values/ElementConversion.h"

#include <algorithm>
#include <limits>
#include <vector>

namespace {

constexpr std::size_t kElementsAtATime = 1 << 15; // Read and converted.

} // namespace

void StoredArray::read(std::uint64_t first, std::span<double> into) const
{
    std::fill(into.begin(), into.end(), std::numeric_limits<double>::quiet_NaN());
    if (first >= length())
        return;
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(into.size(), length() - first));
    const std::size_t size = sizeOfElement(type_);
    std::vector<unsigned char> block(std::min(count, kElementsAtATime) * size);
    const std::lock_guard lock(access_);
    for (std::size_t done = 0; done < count;) {
        const std::size_t now = std::min(count - done, kElementsAtATime);
        if (!file_->readAt(offset_ + (first + done) * size, block.data(), now * size))
            return;
        if (mustSwap_)
            storage::swapElements(type_, block.data(), now);
        storage::convertElements(type_, block.data(), now, ElementType::Double, into.data() + done);
        done += now;
    }
}
