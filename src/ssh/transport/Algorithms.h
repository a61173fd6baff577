#pragma once

#include "platform/Result.h"
#include "ssh/crypto/Bytes.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ssh {

// What the owner of a connection settles about its algorithms before connecting.
struct AlgorithmSettings {
    bool compression = true;
    bool counterModes = true;
    std::string forceCipher; // Empty for the whole list.
    bool settledOnly = false; // Leaves out what was added behind the settled lists for today's servers.
    // Of the key types recorded for this host, each in the form of a key blob's name. Among the entries
    // behind the settled ones they come first, so that the server shows a key that can be compared.
    std::vector<std::string> knownKeyTypes;
};

// The name lists of a SSH_MSG_KEXINIT, RFC 4253, section 7.1, each for both directions.
struct AlgorithmOffer {
    std::vector<std::string> keyExchange; // With the markers for strict key exchange and extension info.
    std::vector<std::string> hostKey;
    std::vector<std::string> cipher;
    std::vector<std::string> mac;
    std::vector<std::string> compression;
};

// Adjusts the lists to the server's version line.
AlgorithmOffer offerFor(const AlgorithmSettings& settings, std::string_view serverVersion);

constexpr std::string_view kExtInfoClient = "ext-info-c"; // RFC 8308, section 2.1
constexpr std::string_view kStrictClient = "kex-strict-c-v00@openssh.com";
constexpr std::string_view kStrictServer = "kex-strict-s-v00@openssh.com";

// The two directions: from the client to the server, and back.
enum Way { kToServer, kToClient };

struct AlgorithmChoice {
    std::string keyExchange;
    std::string hostKey;
    std::array<std::string, 2> cipher; // By Way.
    std::array<std::string, 2> mac;
    std::array<std::string, 2> compression;
    bool strict = false;
    bool guessedWrong = false; // The server sent a first packet for another method: it is to be skipped.
};

// Whether packets are compressed that way under new keys: "zlib@openssh.com" waits for the login.
bool compresses(const AlgorithmChoice& choice, Way way, bool loggedIn);

// A SSH_MSG_KEXINIT as it came: its ten lists in wire order, and the flag of a guessed packet.
struct KexInitLists {
    std::array<std::vector<std::string>, 10> lists;
    bool firstPacketFollows = false;
};
std::optional<KexInitLists> parseKexInit(ByteView payload);
Bytes buildKexInit(const AlgorithmOffer& offer); // Parts of either end's; the language lists are empty.

// Walks our own order and takes what the server lists too. The failure names the list without a match.
Result<AlgorithmChoice> choose(const AlgorithmOffer& offer, const KexInitLists& server);

bool contains(const std::vector<std::string>& names, std::string_view name);

} // namespace ssh
