#include "ssh/transport/KeyDerivation.h"

#include "ssh/crypto/Wire.h"

namespace ssh {

namespace {

Bytes deriveKey(char letter, std::size_t size, const ExchangeSecrets& secrets)
{
    const Bytes start = WireWriter().mpint(secrets.secret).raw(secrets.exchangeHash).take();
    Bytes key = hash(secrets.hash, {start, viewOf({&letter, 1}), secrets.sessionId});
    while (key.size() < size)
        append(key, hash(secrets.hash, {start, key}));
    key.resize(size);
    return key;
}

} // namespace

Result<PacketCodec::Protection> deriveProtection(
    const AlgorithmChoice& choice, Way way, const ExchangeSecrets& secrets)
{
    const CipherInfo& cipherInfo = *findCipher(choice.cipher[way]);
    const MacInfo& macInfo = *findMac(choice.mac[way]);
    const bool back = way == kToClient;
    auto cipher = PacketCipher::create(cipherInfo, deriveKey(back ? 'D' : 'C', cipherInfo.keySize, secrets),
        deriveKey(back ? 'B' : 'A', cipherInfo.ivSize, secrets));
    if (!cipher.ok())
        return cipher.error();
    auto mac = PacketMac::create(macInfo, deriveKey(back ? 'F' : 'E', macInfo.size, secrets));
    if (!mac.ok())
        return mac.error();
    return PacketCodec::Protection{std::move(*cipher), std::move(*mac)};
}

} // namespace ssh
