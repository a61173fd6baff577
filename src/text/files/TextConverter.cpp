#include "text/files/TextConverter.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <iconv.h>

namespace {

constexpr std::size_t kRoom = 16384;

enum class Stop { Done, Torn, Invalid };

// Converts until something stops it; `bytes` keeps what is left.
Stop convertSome(iconv_t handle, std::string_view& bytes, std::string& text)
{
    std::array<char, kRoom> room{};
    while (true) {
        char* in = const_cast<char*>(bytes.data()); // iconv doesn't write to its input.
        std::size_t left = bytes.size();
        char* out = room.data();
        std::size_t space = room.size();
        const std::size_t result = iconv(handle, &in, &left, &out, &space);
        const int reason = result == static_cast<std::size_t>(-1) ? errno : 0;
        text.append(room.data(), room.size() - space);
        bytes.remove_prefix(bytes.size() - left);
        if (reason != E2BIG)
            return reason == 0 ? Stop::Done : reason == EINVAL ? Stop::Torn : Stop::Invalid;
    }
}

} // namespace

void TextConverter::Close::operator()(void* handle) const
{
    iconv_close(handle);
}

platform::Result<TextConverter> TextConverter::open(const char* encoding)
{
    const iconv_t handle = iconv_open("UTF-8", encoding);
    if (handle == reinterpret_cast<iconv_t>(-1))
        return platform::Error{std::string("This machine can't convert text from ") + encoding};
    return TextConverter(handle);
}

std::size_t TextConverter::convert(std::string_view bytes, std::string& text)
{
    constexpr std::size_t kUnit = 2; // Bytes of a code unit of UTF-16.
    std::string_view rest = bytes;
    while (convertSome(handle_.get(), rest, text) == Stop::Invalid && !rest.empty()) {
        text += "\ufffd";
        rest.remove_prefix(std::min(rest.size(), kUnit));
    }
    return bytes.size() - rest.size();
}
