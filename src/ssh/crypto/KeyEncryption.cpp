#include "ssh/crypto/KeyEncryption.h"

#include "ssh/crypto/BcryptKdf.h"
#include "ssh/crypto/Crypto.h"
#include "ssh/crypto/Wire.h"

#include <algorithm>

namespace ssh {

namespace {

struct KeyFileCipher {
    std::string_view name;
    int algorithm; // A GCRY_CIPHER_ number.
    int mode;
    std::size_t keySize; // Bytes.
    std::size_t blockSize;
};
constexpr KeyFileCipher kOpenSshCiphers[] = {
    {"aes256-ctr", GCRY_CIPHER_AES256, GCRY_CIPHER_MODE_CTR, 32, 16},
    {"aes192-ctr", GCRY_CIPHER_AES192, GCRY_CIPHER_MODE_CTR, 24, 16},
    {"aes128-ctr", GCRY_CIPHER_AES128, GCRY_CIPHER_MODE_CTR, 16, 16},
    {"aes256-cbc", GCRY_CIPHER_AES256, GCRY_CIPHER_MODE_CBC, 32, 16},
    {"aes192-cbc", GCRY_CIPHER_AES192, GCRY_CIPHER_MODE_CBC, 24, 16},
    {"aes128-cbc", GCRY_CIPHER_AES128, GCRY_CIPHER_MODE_CBC, 16, 16},
    {"3des-cbc", GCRY_CIPHER_3DES, GCRY_CIPHER_MODE_CBC, 24, 8},
};
constexpr KeyFileCipher kPemCiphers[] = {
    {"AES-256-CBC", GCRY_CIPHER_AES256, GCRY_CIPHER_MODE_CBC, 32, 16},
    {"AES-192-CBC", GCRY_CIPHER_AES192, GCRY_CIPHER_MODE_CBC, 24, 16},
    {"AES-128-CBC", GCRY_CIPHER_AES128, GCRY_CIPHER_MODE_CBC, 16, 16},
    {"DES-EDE3-CBC", GCRY_CIPHER_3DES, GCRY_CIPHER_MODE_CBC, 24, 8},
};

constexpr std::size_t kPemSalt = 8; // Bytes: the beginning of the first block.
// A file that asks for more would keep a thread busy for minutes; the usual numbers are 16 and 100.
constexpr std::uint32_t kMostRounds = 2000;

const Error kDamagedEncryption{"The private key file is damaged."};
const Error kNoPassphrase{
    "The private key is protected by a pass phrase, and there is none to open it with."};

const KeyFileCipher* findKeyCipher(std::span<const KeyFileCipher> ciphers, std::string_view name)
{
    const auto found = std::find_if(
        ciphers.begin(), ciphers.end(), [name](const KeyFileCipher& cipher) { return cipher.name == name; });
    return found == ciphers.end() ? nullptr : &*found;
}

Error unknownCipher(std::string_view name)
{
    return Error{"The private key is encrypted by a cipher that isn't understood: " + printable(name, 40)};
}

Result<Bytes> decryptWith(const KeyFileCipher& cipher, ByteView key, ByteView start, ByteView encrypted)
{
    if (encrypted.empty() || encrypted.size() % cipher.blockSize != 0)
        return kDamagedEncryption;
    gcry_cipher_hd_t handle = nullptr;
    gcry_error_t error = gcry_cipher_open(&handle, cipher.algorithm, cipher.mode, GCRY_CIPHER_SECURE);
    if (!error)
        error = gcry_cipher_setkey(handle, key.data(), cipher.keySize);
    if (!error)
        error = cipher.mode == GCRY_CIPHER_MODE_CTR
            ? gcry_cipher_setctr(handle, start.data(), cipher.blockSize)
            : gcry_cipher_setiv(handle, start.data(), cipher.blockSize);
    Bytes plain = copyOf(encrypted);
    if (!error)
        error = gcry_cipher_decrypt(handle, plain.data(), plain.size(), nullptr, 0);
    gcry_cipher_close(handle);
    if (error)
        return Error{std::string("The private key could not be decrypted: ") + gcry_strerror(error)};
    return plain;
}

std::optional<Bytes> bytesOfHex(std::string_view text)
{
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        const auto high = kDigits.find(text[i]);
        const auto low = kDigits.find(text[i + 1]);
        if (high == std::string_view::npos || low == std::string_view::npos)
            return std::nullopt;
        bytes.push_back(static_cast<std::uint8_t>(high << 4 | low));
    }
    return text.size() % 2 == 0 ? std::optional(std::move(bytes)) : std::nullopt;
}

// MD5 over the hash before, the passphrase and the salt, again and again: as old as the format.
Bytes pemKey(std::string_view passphrase, ByteView salt, std::size_t size)
{
    Bytes key;
    Bytes last;
    while (key.size() < size) {
        last = hash(GCRY_MD_MD5, {last, viewOf(passphrase), salt});
        append(key, last);
    }
    return key;
}

} // namespace

Result<Bytes> decryptSection(
    const OpenSshEncryption& encryption, ByteView section, std::string_view passphrase)
{
    const KeyFileCipher* cipher = findKeyCipher(kOpenSshCiphers, encryption.cipher);
    if (!cipher || encryption.derivation != "bcrypt")
        return unknownCipher(encryption.cipher);
    if (passphrase.empty())
        return kNoPassphrase;
    WireReader reader(encryption.options);
    const ByteView salt = reader.string();
    const std::uint32_t rounds = reader.uint32();
    if (!reader.okAndEmpty() || salt.empty() || rounds == 0)
        return kDamagedEncryption;
    if (rounds > kMostRounds)
        return Error{"The private key takes too long to open: " + std::to_string(rounds) + " rounds."};
    const Bytes secrets = bcryptKdf(viewOf(passphrase), salt, cipher->keySize + cipher->blockSize, rounds);
    return decryptWith(*cipher, secrets, ByteView(secrets).subspan(cipher->keySize), section);
}

Result<Bytes> decryptPem(std::string_view info, ByteView body, std::string_view passphrase)
{
    const auto comma = std::min(info.find(','), info.size());
    const KeyFileCipher* cipher = findKeyCipher(kPemCiphers, info.substr(0, comma));
    if (!cipher)
        return unknownCipher(info.substr(0, comma));
    if (passphrase.empty())
        return kNoPassphrase;
    const auto start = bytesOfHex(info.substr(std::min(comma + 1, info.size())));
    if (!start || start->size() != cipher->blockSize)
        return kDamagedEncryption;
    const Bytes key = pemKey(passphrase, ByteView(*start).first(kPemSalt), cipher->keySize);
    auto plain = decryptWith(*cipher, key, *start, body);
    if (!plain.ok())
        return plain;
    const std::size_t padding = plain->back();
    if (padding == 0 || padding > cipher->blockSize)
        return Error{"The pass phrase doesn't open the private key."};
    plain->resize(plain->size() - padding);
    return plain;
}

} // namespace ssh
