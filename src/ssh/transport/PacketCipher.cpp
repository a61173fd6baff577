#include "ssh/transport/PacketCipher.h"

#include "platform/Gcrypt.h"
#include "ssh/crypto/Wire.h"

namespace ssh {

namespace {

constexpr CipherInfo kCiphers[] = {
    {"aes256-ctr", GCRY_CIPHER_AES256, GCRY_CIPHER_MODE_CTR, 32, 16, 16, 0},
    {"aes192-ctr", GCRY_CIPHER_AES192, GCRY_CIPHER_MODE_CTR, 24, 16, 16, 0},
    {"aes128-ctr", GCRY_CIPHER_AES128, GCRY_CIPHER_MODE_CTR, 16, 16, 16, 0},
    {"aes256-cbc", GCRY_CIPHER_AES256, GCRY_CIPHER_MODE_CBC, 32, 16, 16, 0},
    {"aes192-cbc", GCRY_CIPHER_AES192, GCRY_CIPHER_MODE_CBC, 24, 16, 16, 0},
    {"aes128-cbc", GCRY_CIPHER_AES128, GCRY_CIPHER_MODE_CBC, 16, 16, 16, 0},
    {"twofish256-cbc", GCRY_CIPHER_TWOFISH, GCRY_CIPHER_MODE_CBC, 32, 16, 16, 0},
    {"twofish128-cbc", GCRY_CIPHER_TWOFISH128, GCRY_CIPHER_MODE_CBC, 16, 16, 16, 0},
    {"blowfish-cbc", GCRY_CIPHER_BLOWFISH, GCRY_CIPHER_MODE_CBC, 16, 8, 8, 0},
    {"3des-cbc", GCRY_CIPHER_3DES, GCRY_CIPHER_MODE_CBC, 24, 8, 8, 0},
    {"arcfour128", GCRY_CIPHER_ARCFOUR, GCRY_CIPHER_MODE_STREAM, 16, 8, 0, 1536},
    {"arcfour256", GCRY_CIPHER_ARCFOUR, GCRY_CIPHER_MODE_STREAM, 32, 8, 0, 1536},
};

constexpr MacInfo kMacs[] = {
    {"hmac-sha2-256", GCRY_MD_SHA256, 32},
    {"hmac-sha1", GCRY_MD_SHA1, 20},
    {"hmac-sha2-512", GCRY_MD_SHA512, 64},
    {"hmac-md5", GCRY_MD_MD5, 16},
    {"hmac-ripemd160", GCRY_MD_RMD160, 20},
    {"none", GCRY_MD_NONE, 0},
};

Error cryptoError(std::string_view what, gcry_error_t error)
{
    return Error{std::string(what) + " could not be set up: " + gcry_strerror(error)};
}

} // namespace

const CipherInfo* findCipher(std::string_view name)
{
    for (const CipherInfo& info : kCiphers)
        if (info.name == name)
            return &info;
    return nullptr;
}

const MacInfo* findMac(std::string_view name)
{
    for (const MacInfo& info : kMacs)
        if (info.name == name)
            return &info;
    return nullptr;
}

PacketCipher& PacketCipher::operator=(PacketCipher&& other) noexcept
{
    std::swap(handle_, other.handle_);
    std::swap(blockSize_, other.blockSize_);
    return *this;
}

Result<PacketCipher> PacketCipher::create(const CipherInfo& info, ByteView key, ByteView iv)
{
    platform::setUpGcrypt();
    PacketCipher cipher;
    cipher.blockSize_ = info.blockSize;
    gcry_error_t error = gcry_cipher_open(&cipher.handle_, info.algorithm, info.mode, GCRY_CIPHER_SECURE);
    if (!error)
        error = gcry_cipher_setkey(cipher.handle_, key.data(), info.keySize);
    if (!error && info.mode == GCRY_CIPHER_MODE_CTR)
        error = gcry_cipher_setctr(cipher.handle_, iv.data(), info.ivSize);
    else if (!error && info.ivSize)
        error = gcry_cipher_setiv(cipher.handle_, iv.data(), info.ivSize);
    if (error)
        return cryptoError(info.name, error);
    if (info.discard) {
        Bytes thrownAway(info.discard);
        cipher.encrypt(thrownAway);
    }
    return cipher;
}

// libgcrypt doesn't fail in place and with whole blocks.
void PacketCipher::encrypt(std::span<std::uint8_t> bytes)
{
    if (handle_ && !bytes.empty())
        gcry_cipher_encrypt(handle_, bytes.data(), bytes.size(), nullptr, 0);
}

void PacketCipher::decrypt(std::span<std::uint8_t> bytes)
{
    if (handle_ && !bytes.empty())
        gcry_cipher_decrypt(handle_, bytes.data(), bytes.size(), nullptr, 0);
}

PacketMac& PacketMac::operator=(PacketMac&& other) noexcept
{
    std::swap(handle_, other.handle_);
    std::swap(size_, other.size_);
    return *this;
}

Result<PacketMac> PacketMac::create(const MacInfo& info, ByteView key)
{
    platform::setUpGcrypt();
    PacketMac mac;
    mac.size_ = info.size;
    if (info.size == 0)
        return mac;
    gcry_error_t error = gcry_md_open(&mac.handle_, info.algorithm, GCRY_MD_FLAG_HMAC | GCRY_MD_FLAG_SECURE);
    if (!error)
        error = gcry_md_setkey(mac.handle_, key.data(), info.size);
    if (error)
        return cryptoError(info.name, error);
    return mac;
}

ByteView PacketMac::compute(std::uint32_t sequence, ByteView packet)
{
    if (!handle_)
        return {};
    std::uint8_t number[4];
    storeUint32(number, sequence);
    gcry_md_reset(handle_);
    gcry_md_write(handle_, number, sizeof number);
    gcry_md_write(handle_, packet.data(), packet.size());
    return {gcry_md_read(handle_, 0), size_};
}

} // namespace ssh
