#include "platform/Md5.h"

#include "platform/Gcrypt.h"

#include <fmt/format.h>
#include <gcrypt.h>

namespace platform {

struct Md5::State {
    gcry_md_hd_t handle = nullptr;
};

Md5::Md5() : state_(std::make_unique<State>())
{
    setUpGcrypt();
    if (gcry_md_open(&state_->handle, GCRY_MD_MD5, 0) != 0)
        state_->handle = nullptr;
}

Md5::~Md5()
{
    gcry_md_close(state_->handle);
}

void Md5::update(const void* bytes, std::size_t count)
{
    if (state_->handle && count > 0)
        gcry_md_write(state_->handle, bytes, count);
}

std::optional<std::string> Md5::hexDigest()
{
    const unsigned char* digest = state_->handle ? gcry_md_read(state_->handle, GCRY_MD_MD5) : nullptr;
    if (!digest)
        return std::nullopt;
    std::string text;
    for (unsigned index = 0; index < gcry_md_get_algo_dlen(GCRY_MD_MD5); ++index)
        text += fmt::format("{:02x}", digest[index]);
    return text;
}

} // namespace platform
