#pragma once

#include <cstdint>

// Message numbers of the SSH protocol: RFC 4250, section 4.1, and the RFCs named beside the later ones.
namespace ssh::message {

constexpr std::uint8_t kDisconnect = 1;
constexpr std::uint8_t kIgnore = 2;
constexpr std::uint8_t kUnimplemented = 3;
constexpr std::uint8_t kDebug = 4;
constexpr std::uint8_t kServiceRequest = 5;
constexpr std::uint8_t kServiceAccept = 6;
constexpr std::uint8_t kExtInfo = 7; // RFC 8308
constexpr std::uint8_t kKexInit = 20;
constexpr std::uint8_t kNewKeys = 21;
// 30 to 49 belong to the key exchange method at hand.
constexpr std::uint8_t kKexDhInit = 30; // RFC 5656 uses the same pair for ECDH.
constexpr std::uint8_t kKexDhReply = 31;
constexpr std::uint8_t kKexGexGroup = 31; // RFC 4419
constexpr std::uint8_t kKexGexInit = 32;
constexpr std::uint8_t kKexGexReply = 33;
constexpr std::uint8_t kKexGexRequest = 34;
constexpr std::uint8_t kUserauthRequest = 50;
constexpr std::uint8_t kUserauthFailure = 51;
constexpr std::uint8_t kUserauthSuccess = 52;
constexpr std::uint8_t kUserauthBanner = 53;
// 60 to 79 belong to the authentication method at hand.
constexpr std::uint8_t kUserauthPasswdChangereq = 60;
constexpr std::uint8_t kUserauthPkOk = 60;
constexpr std::uint8_t kUserauthInfoRequest = 60; // RFC 4256
constexpr std::uint8_t kUserauthInfoResponse = 61;
constexpr std::uint8_t kGlobalRequest = 80;
constexpr std::uint8_t kRequestSuccess = 81;
constexpr std::uint8_t kRequestFailure = 82;
constexpr std::uint8_t kChannelOpen = 90;
constexpr std::uint8_t kChannelOpenConfirmation = 91;
constexpr std::uint8_t kChannelOpenFailure = 92;
constexpr std::uint8_t kChannelWindowAdjust = 93;
constexpr std::uint8_t kChannelData = 94;
constexpr std::uint8_t kChannelExtendedData = 95;
constexpr std::uint8_t kChannelEof = 96;
constexpr std::uint8_t kChannelClose = 97;
constexpr std::uint8_t kChannelRequest = 98;
constexpr std::uint8_t kChannelSuccess = 99;
constexpr std::uint8_t kChannelFailure = 100;

constexpr bool isKeyExchange(std::uint8_t number)
{
    return number >= 20 && number <= 49;
}
constexpr bool isUserauth(std::uint8_t number)
{
    return number >= 50 && number <= 79;
}
constexpr bool isConnection(std::uint8_t number)
{
    return number >= 80 && number <= 127;
}

} // namespace ssh::message
