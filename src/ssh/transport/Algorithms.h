#pragma once

#include "platform/Result.h"
#include "ssh/crypto/Bytes.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ssh {

// The "settled" lists are the algorithms and the order that this client has always offered: an old server
// gets the same choice as ever. Algorithms that came later are offered behind them.
struct AlgorithmSettings {
    bool compression = true;
    bool counterModes = true;
    std::string forceCipher; // Offered alone, unless empty.
    bool settledOnly = false; // Offers the settled lists alone.
    // Leaves out a group of 1024 bits, arcfour, MD5 and "none" as a MAC, all of which are in the settled
    // lists.
    bool refuseWeak = false;
    // Key types recorded for this host. They come first in the offer.
    std::vector<std::string> knownKeyTypes;
};

// The name lists of our SSH_MSG_KEXINIT, RFC 4253, section 7.1; both directions get the same.
struct AlgorithmOffer {
    std::vector<std::string> keyExchange; // With the markers for strict key exchange and extension info.
    std::vector<std::string> hostKey;
    std::vector<std::string> cipher;
    std::vector<std::string> mac;
    std::vector<std::string> compression;
    bool refusesWeak = false; // Weak ones have been left out.
};

// Adjusts the lists to the server's version line.
AlgorithmOffer offerFor(const AlgorithmSettings& settings, std::string_view serverVersion);

constexpr std::string_view kExtInfoClient = "ext-info-c"; // RFC 8308, section 2.1
constexpr std::string_view kStrictClient = "kex-strict-c-v00@openssh.com";
constexpr std::string_view kStrictServer = "kex-strict-s-v00@openssh.com";

// A direction.
enum Way { kToServer, kToClient };

struct AlgorithmChoice {
    std::string keyExchange;
    std::string hostKey;
    std::array<std::string, 2> cipher; // By Way.
    std::array<std::string, 2> mac;
    std::array<std::string, 2> compression;
    bool strict = false;
    bool guessedWrong = false; // The server has sent a first packet for another method: skip it.
};

// The weak parts of the choice for a person, as "MAC hmac-md5 to the server"; empty when there are none.
std::string weakParts(const AlgorithmChoice& choice);

// Whether packets in this direction are compressed. "zlib@openssh.com" starts after the login.
bool compresses(const AlgorithmChoice& choice, Way way, bool loggedIn);

// A received SSH_MSG_KEXINIT: its ten lists in wire order, and the flag of a guessed packet.
struct KexInitLists {
    std::array<std::vector<std::string>, 10> lists;
    bool firstPacketFollows = false;
};
std::optional<KexInitLists> parseKexInit(ByteView payload);
Bytes buildKexInit(const AlgorithmOffer& offer); // Of a client or a server; the language lists are empty.

// For each list, the first entry of ours that the server lists too. A failure names the list without a match.
Result<AlgorithmChoice> choose(const AlgorithmOffer& offer, const KexInitLists& server);

bool contains(const std::vector<std::string>& names, std::string_view name);

} // namespace ssh
