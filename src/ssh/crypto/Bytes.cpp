#include "ssh/crypto/Bytes.h"

#include "ssh/crypto/TextConversion.h"

#include <algorithm>
#include <cstring>
#include <string.h>

namespace ssh {

void wipe(void* memory, std::size_t size)
{
    explicit_bzero(memory, size);
}

bool equal(ByteView a, ByteView b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end());
}

bool equalInConstantTime(ByteView a, ByteView b)
{
    if (a.size() != b.size())
        return false;
    volatile std::uint8_t difference = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        difference = static_cast<std::uint8_t>(difference | (a[i] ^ b[i]));
    return difference == 0;
}

std::string printable(std::string_view text, std::size_t limit)
{
    std::string result = convertText(text.substr(0, limit), "UTF-8", "UTF-8");
    for (std::size_t i = 0; i < result.size(); ++i) {
        const auto byte = static_cast<unsigned char>(result[i]);
        if (byte < 0x20 || byte == 0x7f)
            result[i] = '?';
        else if (byte == 0xc2 && static_cast<unsigned char>(result[i + 1]) < 0xa0) // From U+0080 to U+009F.
            result.replace(i, 2, "?");
    }
    if (text.size() > limit)
        result += "...";
    return result;
}

namespace {

constexpr std::string_view kBase64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

} // namespace

std::string toBase64(ByteView bytes)
{
    std::string result;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::size_t have = std::min<std::size_t>(3, bytes.size() - i);
        std::uint32_t group = 0;
        for (std::size_t k = 0; k < 3; ++k)
            group = group << 8 | (k < have ? bytes[i + k] : 0u);
        for (std::size_t k = 0; k < 4; ++k)
            result += k <= have ? kBase64[group >> (18 - 6 * k) & 0x3f] : '=';
    }
    return result;
}

std::optional<Bytes> fromBase64(std::string_view text)
{
    Bytes out;
    std::uint32_t group = 0;
    std::size_t digits = 0;
    std::size_t padding = 0;
    out.reserve(text.size() / 4 * 3 + 3);
    for (const char c : text) {
        if (c == ' ' || c == '\t' || c == '\r' || c == '\n')
            continue;
        const auto digit = kBase64.find(c);
        if (c == '=' ? ++padding > 2 : digit == std::string_view::npos || padding > 0)
            return std::nullopt;
        group = group << 6 | (c == '=' ? 0u : static_cast<std::uint32_t>(digit));
        if (++digits % 4 == 0)
            for (std::size_t k = 0; k < 3 - padding; ++k)
                out.push_back(static_cast<std::uint8_t>(group >> (16 - 8 * k)));
    }
    return digits % 4 == 0 ? std::optional(std::move(out)) : std::nullopt;
}

void ByteQueue::release()
{
    if (memory_)
        wipe(memory_.get(), capacity_);
    memory_.reset();
    capacity_ = begin_ = end_ = 0;
}

std::uint8_t* ByteQueue::prepare(std::size_t count)
{
    if (capacity_ - end_ >= count)
        return memory_.get() + end_;
    const std::size_t used = size();
    // Move the bytes to the front only when that frees at least as much as it moves.
    if (capacity_ - used >= count && begin_ >= used) {
        std::memcpy(memory_.get(), memory_.get() + begin_, used);
    } else {
        const std::size_t capacity = std::max({capacity_ * 2, used + count, std::size_t{4096}});
        std::unique_ptr<std::uint8_t[]> memory(new std::uint8_t[capacity]);
        if (used)
            std::memcpy(memory.get(), memory_.get() + begin_, used);
        if (memory_)
            wipe(memory_.get(), capacity_);
        memory_ = std::move(memory);
        capacity_ = capacity;
    }
    begin_ = 0;
    end_ = used;
    return memory_.get() + end_;
}

void ByteQueue::append(ByteView bytes)
{
    if (bytes.empty())
        return;
    std::memcpy(prepare(bytes.size()), bytes.data(), bytes.size());
    commit(bytes.size());
}

void ByteQueue::consume(std::size_t count)
{
    begin_ += count;
    if (begin_ == end_)
        begin_ = end_ = 0;
}

} // namespace ssh
