#include "ssh/transport/Algorithms.h"

#include "ssh/crypto/Crypto.h"
#include "ssh/crypto/Wire.h"
#include "ssh/transport/Messages.h"

#include <algorithm>

namespace ssh {

namespace {

constexpr std::string_view kKeyExchangeNames =
    "diffie-hellman-group-exchange-sha256,diffie-hellman-group-exchange-sha1,diffie-hellman-group1-sha1,"
    "diffie-hellman-group14-sha1,curve25519-sha256@libssh.org,ecdh-sha2-nistp256,ecdh-sha2-nistp384,"
    "ecdh-sha2-nistp521";
constexpr std::string_view kHostKeyNames = "ssh-dss,ssh-rsa";
constexpr std::string_view kHostKeyNamesRsaFirst = "ssh-rsa,ssh-dss";
constexpr std::string_view kCounterCipherNames = "aes256-ctr,aes192-ctr,aes128-ctr";
constexpr std::string_view kCipherNames = "aes256-cbc,aes192-cbc,aes128-cbc,twofish256-cbc,twofish128-cbc,"
                                          "blowfish-cbc,3des-cbc,arcfour128,arcfour256";
constexpr std::string_view kWodCipherNames =
    "aes128-cbc,twofish128-cbc,blowfish-cbc,3des-cbc,arcfour128,arcfour256";
constexpr std::string_view kMacNames = "hmac-sha2-256,hmac-sha1,hmac-sha2-512,hmac-md5,hmac-ripemd160,none";
constexpr std::string_view kCompressionNames = "zlib,zlib@openssh.com,none";

// Offered behind the settled lists, for servers that refuse SHA-1 or know only newer names.
constexpr std::string_view kLaterKeyExchangeNames =
    "curve25519-sha256,diffie-hellman-group14-sha256,diffie-hellman-group16-sha512";
constexpr std::string_view kLaterHostKeyNames =
    "rsa-sha2-512,rsa-sha2-256,ssh-ed25519,ecdsa-sha2-nistp256,ecdsa-sha2-nistp384,ecdsa-sha2-nistp521";

// Servers that mishandle DSA host keys.
constexpr std::string_view kPrefersRsa[] = {"FlowSsh", "XFB.Gateway", "RemotelyAnywhere"};

void add(std::vector<std::string>& names, std::vector<std::string> more)
{
    names.insert(names.end(), more.begin(), more.end());
}

// The server shows the first of its keys whose type we list; only a recorded one can be compared.
void putKnownFirst(std::vector<std::string>& names, const std::vector<std::string>& knownKeyTypes)
{
    std::stable_partition(names.begin(), names.end(), [&](const std::string& name) {
        return contains(knownKeyTypes, name.starts_with("rsa-") ? "ssh-rsa" : name);
    });
}

bool isWeakKeyExchange(std::string_view name)
{
    return name == "diffie-hellman-group1-sha1"; // A group of 1024 bits.
}
bool isWeakCipher(std::string_view name)
{
    return name.starts_with("arcfour");
}
bool isWeakMac(std::string_view name)
{
    return name == "hmac-md5" || name == "none";
}

void leaveOutWeak(AlgorithmOffer& offer)
{
    std::erase_if(offer.keyExchange, isWeakKeyExchange);
    std::erase_if(offer.cipher, isWeakCipher);
    std::erase_if(offer.mac, isWeakMac);
}

std::vector<std::string> ciphersFor(const AlgorithmSettings& settings, std::string_view serverVersion)
{
    if (!settings.forceCipher.empty())
        return {settings.forceCipher};
    if (serverVersion.find("wodFTPD 2.1.4") != std::string_view::npos)
        return splitNames(kWodCipherNames);
    std::vector<std::string> names;
    if (settings.counterModes)
        names = splitNames(kCounterCipherNames);
    add(names, splitNames(kCipherNames));
    return names;
}

} // namespace

bool contains(const std::vector<std::string>& names, std::string_view name)
{
    return std::find(names.begin(), names.end(), name) != names.end();
}

AlgorithmOffer offerFor(const AlgorithmSettings& settings, std::string_view serverVersion)
{
    const bool rsaFirst = std::any_of(std::begin(kPrefersRsa), std::end(kPrefersRsa),
        [&](std::string_view name) { return serverVersion.find(name) != std::string_view::npos; });
    AlgorithmOffer offer;
    offer.keyExchange = splitNames(kKeyExchangeNames);
    offer.hostKey = splitNames(rsaFirst ? kHostKeyNamesRsaFirst : kHostKeyNames);
    offer.cipher = ciphersFor(settings, serverVersion);
    offer.mac = splitNames(kMacNames);
    offer.compression =
        settings.compression ? splitNames(kCompressionNames) : std::vector<std::string>{"none"};
    if (!settings.settledOnly) {
        add(offer.keyExchange, splitNames(kLaterKeyExchangeNames));
        add(offer.keyExchange, {std::string(kExtInfoClient), std::string(kStrictClient)});
        add(offer.hostKey, splitNames(kLaterHostKeyNames));
    }
    putKnownFirst(offer.hostKey, settings.knownKeyTypes);
    offer.refusesWeak = settings.refuseWeak;
    if (settings.refuseWeak)
        leaveOutWeak(offer);
    return offer;
}

Bytes buildKexInit(const AlgorithmOffer& offer)
{
    std::uint8_t cookie[16];
    nonceBytes(cookie);
    WireWriter writer(message::kKexInit);
    writer.raw(cookie).nameList(offer.keyExchange).nameList(offer.hostKey);
    for (const auto* list : {&offer.cipher, &offer.mac, &offer.compression})
        writer.nameList(*list).nameList(*list);
    writer.string(std::string_view()).string(std::string_view()).boolean(false).uint32(0);
    return writer.take();
}

std::optional<KexInitLists> parseKexInit(ByteView payload)
{
    WireReader reader(payload);
    reader.byte();
    reader.bytes(16);
    KexInitLists result;
    for (auto& list : result.lists)
        list = reader.nameList();
    result.firstPacketFollows = reader.boolean();
    reader.uint32();
    return reader.ok() ? std::optional(result) : std::nullopt;
}

Result<AlgorithmChoice> choose(const AlgorithmOffer& offer, const KexInitLists& server)
{
    AlgorithmChoice choice;
    const struct {
        const char* what;
        const std::vector<std::string>& ours;
        std::string& chosen;
    } rows[] = {
        {"key exchange", offer.keyExchange, choice.keyExchange},
        {"host key", offer.hostKey, choice.hostKey},
        {"cipher", offer.cipher, choice.cipher[kToServer]},
        {"cipher", offer.cipher, choice.cipher[kToClient]},
        {"MAC", offer.mac, choice.mac[kToServer]},
        {"MAC", offer.mac, choice.mac[kToClient]},
        {"compression", offer.compression, choice.compression[kToServer]},
        {"compression", offer.compression, choice.compression[kToClient]},
    };
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        const auto& theirs = server.lists[i];
        const auto match =
            std::find_if(rows[i].ours.begin(), rows[i].ours.end(), [&](const std::string& name) {
                return name != kExtInfoClient && name != kStrictClient && contains(theirs, name);
            });
        if (match == rows[i].ours.end())
            return Error{std::string("No ") + rows[i].what
                + " algorithm in common with the server, which offers: " + printable(joinNames(theirs)) + "."
                + (offer.refusesWeak ? " Weak ones are refused: a group of 1024 bits, arcfour, MD5, no MAC."
                                     : "")};
        rows[i].chosen = *match;
    }
    choice.strict = contains(offer.keyExchange, kStrictClient) && contains(server.lists[0], kStrictServer);
    // RFC 4253, section 7: a guess is wrong unless both sides' first choices agree.
    choice.guessedWrong = server.firstPacketFollows
        && (server.lists[0].front() != offer.keyExchange.front()
            || server.lists[1].front() != offer.hostKey.front());
    return choice;
}

std::string weakParts(const AlgorithmChoice& choice)
{
    std::vector<std::string> parts;
    if (isWeakKeyExchange(choice.keyExchange))
        parts.push_back("key exchange " + choice.keyExchange);
    for (const Way way : {kToServer, kToClient}) {
        const std::string side = way == kToServer ? " to the server" : " from the server";
        if (isWeakCipher(choice.cipher[way]))
            parts.push_back("cipher " + choice.cipher[way] + side);
        if (isWeakMac(choice.mac[way]))
            parts.push_back("MAC " + choice.mac[way] + side);
    }
    std::string text;
    for (const std::string& part : parts)
        text += (text.empty() ? "" : ", ") + part;
    return text;
}

bool compresses(const AlgorithmChoice& choice, Way way, bool loggedIn)
{
    const std::string& name = choice.compression[way];
    return name == "zlib" || (name == "zlib@openssh.com" && loggedIn);
}

} // namespace ssh
