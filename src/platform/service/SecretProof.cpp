#include "platform/service/SecretProof.h"

#include "platform/Gcrypt.h"

#include <array>
#include <fmt/format.h>
#include <gcrypt.h>
#include <string.h>
#include <utility>

namespace platform {

namespace {

constexpr std::string_view kMagic = "TrelkSP1";
constexpr std::size_t kNonceSize = 32;
constexpr std::size_t kProofSize = 32;
constexpr std::size_t kHelloSize = kMagic.size() + kNonceSize;

constexpr std::string_view labelOf(SecretProof::Side side)
{
    return side == SecretProof::Side::Connecting ? "Trelkind connecting side" : "Trelkind listening side";
}

std::string randomBytes(std::size_t count)
{
    setUpGcrypt();
    std::string bytes(count, '\0');
    gcry_randomize(bytes.data(), bytes.size(), GCRY_STRONG_RANDOM);
    return bytes;
}

// Empty when the library can't do it.
std::string keyedDigest(std::string_view key, std::string_view text)
{
    setUpGcrypt();
    gcry_mac_hd_t mac = nullptr;
    if (gcry_mac_open(&mac, GCRY_MAC_HMAC_SHA256, GCRY_MAC_FLAG_SECURE, nullptr) != 0)
        return {};
    std::string digest(kProofSize, '\0');
    std::size_t size = digest.size();
    const bool worked = gcry_mac_setkey(mac, key.data(), key.size()) == 0
        && gcry_mac_write(mac, text.data(), text.size()) == 0 && gcry_mac_read(mac, digest.data(), &size) == 0
        && size == kProofSize;
    gcry_mac_close(mac);
    return worked ? digest : std::string();
}

// Takes the same time wherever the two differ.
bool areEqual(std::string_view one, std::string_view other)
{
    if (one.size() != other.size())
        return false;
    volatile unsigned difference = 0;
    for (std::size_t i = 0; i < one.size(); ++i)
        difference = difference | static_cast<unsigned char>(one[i] ^ other[i]);
    return difference == 0;
}

} // namespace

SecretProof::SecretProof(Side side, std::string secret) : side_(side), secret_(std::move(secret))
{
    std::string& own = side_ == Side::Connecting ? nonceOfConnecting_ : nonceOfListening_;
    own = randomBytes(kNonceSize);
    if (side_ == Side::Connecting)
        toSend_ = std::string(kMagic) + own;
    wanted_ = side_ == Side::Connecting ? kHelloSize + kProofSize : kHelloSize;
}

SecretProof::~SecretProof()
{
    ::explicit_bzero(secret_.data(), secret_.size());
}

std::string SecretProof::makeSecret()
{
    std::string text;
    for (const char byte : randomBytes(32))
        text += fmt::format("{:02x}", static_cast<unsigned char>(byte));
    return text;
}

std::string SecretProof::takeBytesToSend()
{
    return std::exchange(toSend_, {});
}

std::string SecretProof::proofOf(Side side) const
{
    std::string text(labelOf(side));
    text += nonceOfConnecting_;
    text += nonceOfListening_;
    return keyedDigest(secret_, text);
}

bool SecretProof::isProofOf(Side side, std::string_view proof) const
{
    const std::string expected = proofOf(side);
    return !expected.empty() && areEqual(expected, proof);
}

Status SecretProof::take(std::string_view bytes)
{
    if (wanted_ == 0 || bytes.size() != wanted_)
        return Error{"the proof of the secret is over"};
    wanted_ = 0;
    if (!hasHello_) {
        if (auto status = takeHello(bytes.substr(0, kHelloSize)); !status)
            return status;
        bytes.remove_prefix(kHelloSize);
        if (side_ == Side::Listening)
            return {};
    }
    if (!isProofOf(side_ == Side::Connecting ? Side::Listening : Side::Connecting, bytes))
        return Error{"the other side does not know the secret"};
    if (side_ == Side::Connecting)
        toSend_ = proofOf(side_);
    return {};
}

Status SecretProof::takeHello(std::string_view bytes)
{
    if (!bytes.starts_with(kMagic))
        return Error{"the other side does not begin with the proof of a secret"};
    hasHello_ = true;
    std::string& other = side_ == Side::Connecting ? nonceOfListening_ : nonceOfConnecting_;
    other = bytes.substr(kMagic.size());
    if (side_ == Side::Listening) {
        toSend_ = std::string(kMagic) + nonceOfListening_ + proofOf(side_);
        wanted_ = kProofSize;
    }
    return {};
}

} // namespace platform
