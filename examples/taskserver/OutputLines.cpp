#include "examples/taskserver/OutputLines.h"

#include <algorithm>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr std::size_t kBlock = std::size_t{256} << 10;
constexpr int kBlocksAtOnce = 16;
constexpr std::int64_t kLongestLine = 64 << 10;

} // namespace

std::int64_t OutputLines::count() const
{
    const std::int64_t complete = static_cast<std::int64_t>(ends_.size());
    return complete + (size_ > (ends_.empty() ? 0 : ends_.back() + 1) ? 1 : 0);
}

std::int64_t OutputLines::update()
{
    if (!file_)
        file_.reset(::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    std::string buffer(kBlock, '\0');
    for (int i = 0; file_ && i < kBlocksAtOnce; ++i) {
        const ssize_t got = platform::retryInterrupted(
            [&] { return ::pread(file_.get(), buffer.data(), buffer.size(), size_); });
        if (got <= 0)
            break;
        const std::string_view bytes(buffer.data(), static_cast<std::size_t>(got));
        for (auto place = bytes.find('\n'); place != bytes.npos; place = bytes.find('\n', place + 1))
            ends_.push_back(size_ + static_cast<std::int64_t>(place));
        size_ += got;
    }
    return count();
}

std::optional<std::string> OutputLines::line(std::int64_t number) const
{
    if (number < 0 || number >= count())
        return std::nullopt;
    const auto index = static_cast<std::size_t>(number);
    const std::int64_t begin = index == 0 ? 0 : ends_[index - 1] + 1;
    const std::int64_t end = index < ends_.size() ? ends_[index] : size_;
    std::string text(static_cast<std::size_t>(std::min(end - begin, kLongestLine)), '\0');
    const ssize_t got =
        platform::retryInterrupted([&] { return ::pread(file_.get(), text.data(), text.size(), begin); });
    text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return text;
}
