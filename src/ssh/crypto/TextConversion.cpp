#include "ssh/crypto/TextConversion.h"

#include <cerrno>
#include <cstdint>
#include <iconv.h>

namespace ssh {

namespace {

class Converter {
public:
    Converter(const std::string& from, const std::string& to) : handle_(iconv_open(to.c_str(), from.c_str()))
    { }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;
    ~Converter()
    {
        if (usable())
            iconv_close(handle_);
    }
    bool usable() const { return reinterpret_cast<std::intptr_t>(handle_) != -1; }
    iconv_t get() const { return handle_; }

private:
    iconv_t handle_;
};

} // namespace

bool canConvert(const std::string& charset)
{
    return Converter(charset, "UTF-8").usable() && Converter("UTF-8", charset).usable();
}

std::string convertText(std::string_view text, const std::string& from, const std::string& to)
{
    const Converter converter(from, to);
    if (!converter.usable())
        return std::string(text);
    std::string result;
    char* in = const_cast<char*>(text.data());
    std::size_t left = text.size();
    while (left > 0) {
        char piece[512];
        char* out = piece;
        std::size_t room = sizeof piece;
        const std::size_t converted = iconv(converter.get(), &in, &left, &out, &room);
        const int reason = errno;
        result.append(piece, sizeof piece - room);
        if (converted == static_cast<std::size_t>(-1) && reason != E2BIG) {
            result += '?';
            ++in;
            --left;
        }
    }
    return result;
}

} // namespace ssh
