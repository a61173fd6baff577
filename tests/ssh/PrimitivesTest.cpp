#include "ssh/Support.h"
#include "ssh/crypto/KeyAgreement.h"
#include "ssh/crypto/Wire.h"
#include "ssh/session/Channel.h"
#include "ssh/transport/Algorithms.h"
#include "ssh/transport/Compression.h"
#include "ssh/transport/Messages.h"
#include "ssh/transport/PacketCodec.h"

#include <gmock/gmock.h>

#include <utility>

using namespace ssh;

namespace {

Bytes fromHex(std::string_view text)
{
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(std::string(text.substr(i, 2)), nullptr, 16)));
    return bytes;
}

struct CipherVector {
    const char* name;
    const char* key;
    const char* iv;
    const char* plain;
    const char* sealed;
};

constexpr const char* kAesBlock = "6bc1bee22e409f96e93d7e117393172a";
constexpr const char* kAesCounter = "f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff";
constexpr const char* kAesIv = "000102030405060708090a0b0c0d0e0f";
constexpr const char* kAes128 = "2b7e151628aed2a6abf7158809cf4f3c";
constexpr const char* kAes192 = "8e73b0f7da0e6452c810f32b809079e562f8ead2522c6b7b";
constexpr const char* kAes256 = "603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4";
constexpr const char* kZeros = "0000000000000000000000000000000000000000000000000000000000000000";

// NIST SP 800-38A (AES) and 800-67 (3DES), the designers' own vectors of Twofish and Blowfish, and the key
// stream of RFC 6229 behind the first 1536 bytes.
constexpr CipherVector kCipherVectors[] = {
    {"aes256-ctr", kAes256, kAesCounter, kAesBlock, "601ec313775789a5b7a7f504bbf3d228"},
    {"aes192-ctr", kAes192, kAesCounter, kAesBlock, "1abc932417521ca24f2b0459fe7e6e0b"},
    {"aes128-ctr", kAes128, kAesCounter, kAesBlock, "874d6191b620e3261bef6864990db6ce"},
    {"aes256-cbc", kAes256, kAesIv, kAesBlock, "f58c4c04d6e5f1ba779eabfb5f7bfbd6"},
    {"aes192-cbc", kAes192, kAesIv, kAesBlock, "4f021db243bc633d7178183a9fa071e8"},
    {"aes128-cbc", kAes128, kAesIv, kAesBlock, "7649abac8119b246cee98e9b12e9197d"},
    {"twofish256-cbc", kZeros, kZeros, "00000000000000000000000000000000",
        "57ff739d4dc92c1bd7fc01700cc8216f"},
    {"twofish128-cbc", kZeros, kZeros, "00000000000000000000000000000000",
        "9f589f5cf6122c32b6bfec2f2ae8c35a"},
    {"blowfish-cbc", "f0e1d2c3b4a5968778695a4b3c2d1e0f", kZeros, "fedcba9876543210", "93142887ee3be15c"},
    {"3des-cbc", "0123456789abcdef23456789abcdef01456789abcdef0123", kZeros, "5468652071756663",
        "a826fd8ce53b855f"},
    {"arcfour128", "0102030405060708090a0b0c0d0e0f10", kZeros, kZeros,
        "ffa0b514647ec04f6306b892ae6611810ee284558a70e8fb861fd23f9ce01a66"},
    {"arcfour256", "0102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f20", kZeros, kZeros,
        "3e34135c79db010200767651cf2630735f81980cb7138e377c0bc405858042c3"},
};

TEST(PacketCipher, AgreesWithPublishedVectors)
{
    for (const CipherVector& vector : kCipherVectors) {
        SCOPED_TRACE(vector.name);
        const CipherInfo* info = findCipher(vector.name);
        ASSERT_NE(info, nullptr);
        Bytes text = fromHex(vector.plain);
        PacketCipher::create(*info, fromHex(vector.key), fromHex(vector.iv))->encrypt(text);
        EXPECT_EQ(text, fromHex(vector.sealed));
        PacketCipher::create(*info, fromHex(vector.key), fromHex(vector.iv))->decrypt(text);
        EXPECT_EQ(text, fromHex(vector.plain));
    }
}

// RFC 2202, 2286 and 4231, test case 1: the key of 0x0b bytes is the same to HMAC with zeros behind it, and
// "Hi There" is a packet "here" with the sequence number that spells "Hi T".
TEST(PacketMac, AgreesWithPublishedVectors)
{
    const std::pair<const char*, const char*> vectors[] = {
        {"hmac-sha2-256", "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7"},
        {"hmac-sha1", "b617318655057264e28bc0b6fb378c8ef146be00"},
        {"hmac-sha2-512",
            "87aa7cdea5ef619d4ff0b4241a1d6cb02379f4e2ce4ec2787ad0b30545e17cde"
            "daa833b7d6b8a702038b274eaea3f4e4be9d914eeb61f1702e696c203a126854"},
        {"hmac-md5", "9294727a3638bb1c13f48ef8158bfc9d"},
        {"hmac-ripemd160", "24cb4bd67d20fc1a5d2ed7732dcc39377f0a5668"},
    };
    for (const auto& [name, code] : vectors) {
        SCOPED_TRACE(name);
        const MacInfo& info = *findMac(name);
        Bytes key(std::min<std::size_t>(info.size, 20), 0x0b);
        key.resize(info.size);
        auto mac = PacketMac::create(info, key);
        for (int twice = 0; twice < 2; ++twice)
            EXPECT_EQ(copyOf(mac->compute(0x48692054, viewOf("here"))), fromHex(code));
    }
}

TEST(PacketCodec, RefusesImpossibleLengthsAndStopsBeforeASequenceNumberComesRound)
{
    // Length, padding length, and some of what follows.
    const std::pair<const char*, std::vector<const char*>> cases[] = {
        {"beyond the limit", {"0004000100000000", "ffffffff00000000"}},
        {"Packet smaller than minimum size.", {"0000000004000000", "0000000b04000000"}},
        {"whole number", {"0000000d04000000"}},
        {"padding",
            {"0000000c0300000000000000000000000000", "0000000c0b00000000000000000000000000",
                "0000000cff00000000000000000000000000"}},
    };
    for (const auto& [reason, lies] : cases)
        for (const char* lie : lies) {
            PacketCodec codec;
            codec.input().append(fromHex(lie));
            const auto packet = codec.next();
            ASSERT_FALSE(packet.ok()) << lie;
            EXPECT_NE(packet.error().text.find(reason), std::string::npos) << packet.error().text;
        }

    PacketCodec sender(0xfffffffd);
    EXPECT_TRUE(sender.seal(viewOf("a")).ok() && sender.seal(viewOf("b")).ok());
    EXPECT_FALSE(sender.seal(viewOf("c")).ok());
}

TEST(Compression, RefusesAPacketThatUnpacksToTooMuch)
{
    Deflater deflater;
    Bytes packed;
    ASSERT_TRUE(deflater.compress({}, Bytes(4 * PacketCodec::kMaximumPacket), packed).ok());
    ASSERT_LT(packed.size(), 20000u);
    Bytes out;
    EXPECT_FALSE(Inflater().decompress(packed, PacketCodec::kMaximumPacket, out).ok());
    EXPECT_LT(out.size(), 2 * PacketCodec::kMaximumPacket);
    // Neither a packet that isn't compressed nor one that holds nothing gets past the codec.
    for (const bool empty : {false, true}) {
        PacketCodec sender;
        PacketCodec receiver;
        sender.compressOutgoing(empty);
        receiver.decompressIncoming(true);
        ASSERT_TRUE(sender.seal(viewOf(empty ? "" : "plain")).ok());
        receiver.input().append(sender.output().view());
        EXPECT_EQ(receiver.next().error().text,
            empty ? "A compressed packet is empty." : "A compressed packet is damaged.");
    }
}

// What can't get smaller is passed on as it is after a while, and compression comes back when it pays.
TEST(Compression, AdaptsToTheData)
{
    Deflater deflater;
    Inflater inflater;
    const std::string hard = support::randomText(32768);
    const std::string easy(32768, 'x');
    std::size_t lastSize = 0;
    const auto pass = [&](const std::string& text, int times) {
        for (int i = 0; i < times; ++i) {
            Bytes packed;
            Bytes out;
            ASSERT_TRUE(deflater.compress(viewOf(text).first(5), viewOf(text).subspan(5), packed).ok());
            ASSERT_TRUE(inflater.decompress(packed, text.size(), out).ok());
            ASSERT_EQ(textOf(out), text);
            lastSize = packed.size();
        }
    };
    pass(hard, 100);
    pass(easy, 1);
    EXPECT_GT(lastSize, easy.size()); // Passed on uncompressed.
    pass(easy, 600);
    EXPECT_LT(lastSize, easy.size() / 50);
}

// A table with one open channel, and what it sends: number and argument of each message, data as its length.
struct Channels {
    Channels()
        : table([this](ByteView head, ByteView) {
              WireReader reader(head.subspan(1));
              reader.uint32();
              sent += std::to_string(head[0]) + ":"
                  + std::to_string(reader.remaining() >= 4 ? reader.uint32() : 0) + " ";
              return Status();
          })
    {
        EXPECT_EQ(*table.open(1000, 500), 0u);
        EXPECT_TRUE(
            receive(WireWriter(message::kChannelOpenConfirmation).uint32(0).uint32(7).uint32(100).uint32(30))
                .ok());
        sent.clear();
    }
    Status receive(ByteView payload) { return table.receive(payload); }
    std::string sent;
    ChannelTable table;
    Channel& channel() { return *table.find(0); }
};

TEST(ChannelTable, KeepsToTheWindowsOfBothSides)
{
    using namespace message;
    Channels with;
    ChannelTable& table = with.table;
    // Out: pieces of at most 30 bytes, 100 in all, and the rest when there is room.
    EXPECT_TRUE(table.write(with.channel(), viewOf("0123456789"), Bytes(20)).ok());
    EXPECT_TRUE(table.write(with.channel(), viewOf("0123456789"), Bytes(100)).ok());
    EXPECT_EQ(std::exchange(with.sent, ""), "94:30 94:30 94:30 94:10 ");
    EXPECT_TRUE(with.receive(WireWriter(kChannelWindowAdjust).uint32(0).uint32(35)).ok());
    EXPECT_EQ(std::exchange(with.sent, ""), "94:30 94:5 ");
    EXPECT_TRUE(with.receive(WireWriter(kChannelWindowAdjust).uint32(0).uint32(200)).ok());
    EXPECT_EQ(std::exchange(with.sent, ""), "94:5 ");
    // In: room is given back when half of the window has been taken.
    const auto data = [](std::size_t size) { return WireWriter(kChannelData).uint32(0).string(Bytes(size)); };
    EXPECT_TRUE(with.receive(data(900)).ok() && table.consume(with.channel(), 499).ok());
    EXPECT_EQ(with.sent, "");
    EXPECT_TRUE(table.consume(with.channel(), 1).ok() && table.widen(with.channel(), 2000).ok());
    EXPECT_EQ(std::exchange(with.sent, ""), "93:500 93:1000 ");
    EXPECT_TRUE(with.receive(data(1600)).ok());
    EXPECT_FALSE(with.receive(data(1)).ok());
    // What the server asks for on its own is refused, its close is answered, and a close ends everything.
    EXPECT_TRUE(with.receive(WireWriter(kChannelOpen).string("x11").uint32(9)).ok());
    EXPECT_TRUE(with.receive(WireWriter(kGlobalRequest).string("keepalive").boolean(true)).ok());
    EXPECT_TRUE(with.receive(WireWriter(kGlobalRequest).string("hostkeys").boolean(false)).ok());
    EXPECT_TRUE(with.receive(WireWriter(kChannelRequest).uint32(0).string("any").boolean(true)).ok());
    EXPECT_TRUE(table.sendEnd(with.channel()).ok() && table.sendEnd(with.channel()).ok());
    EXPECT_FALSE(table.write(with.channel(), viewOf("x")).ok());
    EXPECT_TRUE(with.receive(WireWriter(kChannelClose).uint32(0)).ok());
    EXPECT_EQ(with.sent, "92:1 82:0 100:0 96:0 97:0 ");
    EXPECT_FALSE(table.requestExec(with.channel(), "late").ok());
    for (int i = 1; i < 1000; ++i)
        EXPECT_TRUE(table.open(1, 1).ok());
    EXPECT_FALSE(table.open(1, 1).ok());
}

TEST(ChannelTable, RefusesMessagesThatCanNotBe)
{
    using namespace message;
    const std::pair<Bytes, const char*> cases[] = {
        {WireWriter(kChannelData).uint32(0).string(Bytes(1001)).take(),
            "more data than the channel's window"},
        {WireWriter(kChannelExtendedData).uint32(0).uint32(1).string(Bytes(1001)).take(), "more data than"},
        {WireWriter(kChannelData).uint32(9).string("x").take(), "isn't there"},
        {WireWriter(kChannelData).uint32(0).uint32(50).take(), "damaged"},
        {WireWriter(kChannelWindowAdjust).uint32(0).uint32(0xffffffff).take(), "damaged"},
        {WireWriter(kChannelOpenConfirmation).uint32(0).uint32(0).uint32(0).uint32(0).take(), "out of turn"},
        {WireWriter(kChannelRequest).uint32(0).string("exit-status").boolean(false).take(), "damaged"},
        {WireWriter(126).uint32(0).take(), "unknown kind"},
    };
    for (const auto& [payload, reason] : cases) {
        Channels with;
        EXPECT_THAT(with.receive(payload).error().text, testing::HasSubstr(reason));
        EXPECT_TRUE(with.receive(WireWriter(kChannelClose).uint32(0)).ok());
        EXPECT_THAT(
            with.receive(WireWriter(kChannelEof).uint32(0)).error().text, testing::HasSubstr("has closed"));
    }
    Channels with;
    EXPECT_EQ(*with.table.open(1, 1), 1u);
    EXPECT_FALSE(with.receive(WireWriter(kChannelData).uint32(1).string("")).ok()); // Not open yet.
    EXPECT_FALSE(
        with.receive(WireWriter(kChannelOpenConfirmation).uint32(1).uint32(0).uint32(9).uint32(0)).ok());
}

const std::string kKex =
    "diffie-hellman-group-exchange-sha256,diffie-hellman-group-exchange-sha1,"
    "diffie-hellman-group1-sha1,diffie-hellman-group14-sha1,curve25519-sha256@libssh.org,"
    "ecdh-sha2-nistp256,ecdh-sha2-nistp384,ecdh-sha2-nistp521";
const std::string kCipherList =
    "aes256-ctr,aes192-ctr,aes128-ctr,aes256-cbc,aes192-cbc,aes128-cbc,twofish256-cbc,"
    "twofish128-cbc,blowfish-cbc,3des-cbc,arcfour128,arcfour256";

AlgorithmSettings settled()
{
    AlgorithmSettings settings;
    settings.settledOnly = true;
    return settings;
}

TEST(Algorithms, OffersTheSettledListsInTheirOrder)
{
    const AlgorithmOffer offer = offerFor(settled(), "SSH-2.0-Any");
    EXPECT_EQ(joinNames(offer.keyExchange), kKex);
    EXPECT_EQ(joinNames(offer.hostKey), "ssh-dss,ssh-rsa");
    EXPECT_EQ(joinNames(offer.cipher), kCipherList);
    EXPECT_EQ(joinNames(offer.mac), "hmac-sha2-256,hmac-sha1,hmac-sha2-512,hmac-md5,hmac-ripemd160,none");
    EXPECT_EQ(joinNames(offer.compression), "zlib,zlib@openssh.com,none");

    // The whole message: number, 16 random bytes, ten lists, no guess, nothing reserved.
    const Bytes init = buildKexInit(offer);
    WireReader reader(ByteView(init).subspan(17));
    EXPECT_EQ(reader.text(), kKex);
    for (int i = 0; i < 9; ++i)
        reader.string();
    EXPECT_FALSE(reader.boolean());
    EXPECT_EQ(reader.uint32(), 0u);
    EXPECT_TRUE(reader.okAndEmpty() && parseKexInit(init));
    EXPECT_NE(buildKexInit(offer), init); // Different random bytes.
    for (std::size_t cut = 0; cut < init.size(); ++cut)
        EXPECT_FALSE(parseKexInit(ByteView(init).first(cut))) << cut;

    const AlgorithmOffer later = offerFor({}, "SSH-2.0-Any");
    EXPECT_EQ(joinNames(later.keyExchange),
        kKex
            + ",curve25519-sha256,diffie-hellman-group14-sha256,diffie-hellman-group16-sha512,ext-info-c,"
              "kex-strict-c-v00@openssh.com");
    EXPECT_EQ(joinNames(later.hostKey),
        "ssh-dss,ssh-rsa,rsa-sha2-512,rsa-sha2-256,ssh-ed25519,ecdsa-sha2-nistp256,ecdsa-sha2-nistp384,"
        "ecdsa-sha2-nistp521");
}

TEST(Algorithms, AdjustsItsListsToServersAndSwitches)
{
    for (const char* server : {"SSH-2.0-FlowSsh: 1", "SSH-2.0-XFB.Gateway", "SSH-2.0-RemotelyAnywhere 5"})
        EXPECT_EQ(joinNames(offerFor(settled(), server).hostKey), "ssh-rsa,ssh-dss") << server;
    EXPECT_EQ(joinNames(offerFor(settled(), "SSH-2.0-wodFTPD 2.1.4.2").cipher),
        "aes128-cbc,twofish128-cbc,blowfish-cbc,3des-cbc,arcfour128,arcfour256");
    AlgorithmSettings settings = settled();
    settings.counterModes = false;
    settings.compression = false;
    EXPECT_EQ(joinNames(offerFor(settings, "SSH-2.0-Any").cipher), kCipherList.substr(33));
    EXPECT_EQ(joinNames(offerFor(settings, "SSH-2.0-Any").compression), "none");
    settings.forceCipher = "blowfish-cbc";
    EXPECT_EQ(joinNames(offerFor(settings, "SSH-2.0-wodFTPD 2.1.4").cipher), "blowfish-cbc");
    // What is recorded for a host can be compared, so it comes first.
    AlgorithmSettings known;
    known.knownKeyTypes = {"ssh-ed25519", "ssh-rsa"};
    EXPECT_EQ(joinNames(offerFor(known, "SSH-2.0-Any").hostKey),
        "ssh-rsa,rsa-sha2-512,rsa-sha2-256,ssh-ed25519,ssh-dss,ecdsa-sha2-nistp256,ecdsa-sha2-nistp384,"
        "ecdsa-sha2-nistp521");
    settings = settled();
    settings.refuseWeak = true;
    const AlgorithmOffer strong = offerFor(settings, "SSH-2.0-Any");
    EXPECT_EQ(strong.keyExchange.size(), 7u);
    EXPECT_EQ(joinNames(strong.cipher), kCipherList.substr(0, kCipherList.find(",arcfour")));
    EXPECT_EQ(joinNames(strong.mac), "hmac-sha2-256,hmac-sha1,hmac-sha2-512,hmac-ripemd160");
    EXPECT_EQ(joinNames(strong.compression), "zlib,zlib@openssh.com,none");
}

// Our order decides, not the server's, and the first entry in common is taken.
TEST(Algorithms, ChoosesTheFirstOfItsOwnThatTheServerKnows)
{
    const AlgorithmOffer offer = offerFor({}, "SSH-2.0-Any");
    const std::vector<std::string>* const ours[] = {&offer.keyExchange, &offer.hostKey, &offer.cipher,
        &offer.cipher, &offer.mac, &offer.mac, &offer.compression, &offer.compression};
    for (std::size_t from = 0; from < 11; ++from) {
        KexInitLists server;
        for (std::size_t i = 0; i < 8; ++i) {
            server.lists[i].assign(
                ours[i]->begin() + static_cast<std::ptrdiff_t>(std::min(from, ours[i]->size() - 1)),
                ours[i]->end());
            std::reverse(server.lists[i].begin(), server.lists[i].end());
        }
        const AlgorithmChoice choice = *choose(offer, server);
        const std::string* chosen[] = {&choice.keyExchange, &choice.hostKey, &choice.cipher[0],
            &choice.cipher[1], &choice.mac[0], &choice.mac[1], &choice.compression[0],
            &choice.compression[1]};
        for (std::size_t i = 0; i < 8; ++i)
            EXPECT_EQ(*chosen[i], server.lists[i].back());
    }
}

// To every base that has no factor in common, a Carmichael number looks like a prime by Fermat's test alone.
TEST(Primes, AreToldFromCarmichaelNumbers)
{
    EXPECT_FALSE(isProbablyPrime(Mpi(fromHex("105b9bb7b57df650800597cc59")), 10));
    EXPECT_TRUE(isProbablyPrime(Mpi(fixedGroup(14).prime), 2));
}

TEST(Wire, WritesAndReadsNumbersAsTheProtocolDoes)
{
    // RFC 4251, section 5.
    EXPECT_EQ(WireWriter().mpint({}).take(), fromHex("00000000"));
    EXPECT_EQ(WireWriter().mpint(fromHex("0009a378f9b2e332a7")).take(), fromHex("0000000809a378f9b2e332a7"));
    EXPECT_EQ(WireWriter().mpint(fromHex("80")).take(), fromHex("000000020080"));
    WireReader negative(viewOf(std::string_view("\0\0\0\2\xed\xcc", 6)));
    negative.mpint();
    EXPECT_FALSE(negative.ok());
    for (const char* lie : {"00000005aabbccdd", "ffffffffaabbccdd", "0000"}) {
        const Bytes bytes = fromHex(lie);
        WireReader reader(bytes);
        EXPECT_TRUE(reader.string().empty());
        EXPECT_FALSE(reader.ok());
    }
}

TEST(Printable, LeavesNothingThatATerminalWouldObey)
{
    EXPECT_EQ(printable("t\xc3\xbcr\x1b[1m\xff\xc2\x9b\n", 200), "t\xc3\xbcr?[1m???");
    EXPECT_EQ(printable("ab\xc3\xbc", 3), "ab?...");
}

} // namespace
