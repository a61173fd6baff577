#include "ssh/Peer.h"

#include "platform/Gcrypt.h"
#include "ssh/PeerFiles.h"
#include "ssh/Support.h"
#include "ssh/transport/KeyDerivation.h"
#include "ssh/transport/Messages.h"

#include <algorithm>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace peer {

using namespace ssh;

namespace {

struct Ended { }; // Thrown when a connection is over.

class Connection {
public:
    Connection(const Options& options, std::atomic<std::size_t>& bytesSent, int socket)
        : options_(options), bytesSent_(bytesSent), socket_(socket), files_(options_, seen_)
    { }

    Seen run()
    {
        try {
            exchangeVersions();
            for (;;)
                receive(next());
        } catch (const Ended&) {
            return std::move(seen_);
        }
    }

private:
    static void require(bool good)
    {
        if (!good)
            throw Ended();
    }

    void flush()
    {
        ByteQueue& output = codec_.output();
        while (!output.empty()) {
            const std::size_t sent = bytesSent_;
            // In odd pieces: packets come torn, and several at a time.
            std::size_t count = std::min<std::size_t>(output.size(), 1 + sent * 7919 % 20011);
            for (const auto& place : {options_.cutAt, options_.stallAt})
                if (place)
                    count = std::min(count, *place > sent ? *place - sent : 0);
            if (options_.flipAt && *options_.flipAt >= sent && *options_.flipAt < sent + count)
                output.data()[*options_.flipAt - sent] ^= 0x10;
            bytesSent_ = sent + count; // Before the client can have them, and ask how many there were.
            char ignored[4096];
            while (count == 0 && options_.stallAt && recv(socket_, ignored, sizeof ignored, 0) > 0) { }
            require(count > 0);
            const ssize_t put = ::send(socket_, output.view().data(), count, MSG_NOSIGNAL);
            require(put > 0);
            output.consume(static_cast<std::size_t>(put));
            bytesSent_ = sent + static_cast<std::size_t>(put);
        }
    }

    void send(ByteView payload)
    {
        if (payload[0] == options_.slipsInBefore)
            require(codec_.seal(options_.slip).ok());
        Bytes changed = copyOf(payload);
        if (options_.onSend)
            options_.onSend(changed);
        require(changed.empty() || codec_.seal(changed).ok());
        if (!isSftp_)
            flush();
    }

    void fill()
    {
        sendReplies();
        flush();
        const ssize_t got = recv(socket_, codec_.input().prepare(65536), 65536, 0);
        require(got > 0);
        codec_.input().commit(static_cast<std::size_t>(got));
    }

    Bytes next()
    {
        for (;; fill()) {
            auto packet = codec_.next();
            require(packet.ok());
            if (*packet)
                return copyOf(**packet);
        }
    }

    void exchangeVersions()
    {
        codec_.output().append(viewOf(options_.version + "\r\n"));
        for (; options_.chatters; usleep(20000))
            send(WireWriter(message::kIgnore).string("bla"));
        std::size_t end = 0;
        while ((end = textOf(codec_.input().view()).find("\r\n")) == std::string_view::npos)
            fill();
        seen_.clientVersion = textOf(codec_.input().view().first(end));
        codec_.input().consume(end + 2);
    }

    void exchangeKeys(const Bytes& clientInit)
    {
        const auto client = parseKexInit(clientInit);
        Bytes serverInit = buildKexInit(options_.offer);
        serverInit[serverInit.size() - 5] = options_.guesses ? 1 : 0;
        const AlgorithmOffer clients{
            client->lists[0], client->lists[1], client->lists[2], client->lists[4], client->lists[6]};
        const auto chosen = choose(clients, *parseKexInit(serverInit));
        send(serverInit);
        if (options_.guesses)
            send(WireWriter(message::kKexDhReply).string("of another method"));
        require(chosen.ok());
        const bool strict = choice_.strict;
        choice_ = *chosen;
        choice_.strict = sessionId_.empty() ? choice_.strict : strict;
        agree(*findKexMethod(choice_.keyExchange), clientInit, serverInit);
    }

    void agree(const KexMethod& method, const Bytes& clientInit, const Bytes& serverInit)
    {
        const bool isGex = method.family == KexFamily::GroupExchange;
        const DhGroup group = options_.group.value_or(fixedGroup(14));
        WireWriter forGex;
        if (isGex) {
            const WireWriter both = std::move(WireWriter().mpint(group.prime).mpint(group.generator));
            forGex.raw(ByteView(next()).subspan(1)).raw(both);
            send(WireWriter(message::kKexGexGroup).raw(both));
        }
        const auto agreement = isGex ? createDhAgreement(group) : createAgreement(method);
        const Bytes init = next();
        const ByteView clientValue = WireReader(ByteView(init).subspan(1)).string();
        const auto secret = agreement->sharedSecret(clientValue);
        require(secret.ok());
        const SignatureInfo& signing = *findSignature(choice_.hostKey);
        const PrivateKey& key = keyOfType(std::string(signing.keyType));
        WireWriter start;
        start.string(seen_.clientVersion).string(options_.version).string(clientInit).string(serverInit);
        start.string(key.publicBlob()).raw(forGex).string(clientValue).raw(agreement->publicField());
        const Bytes all = hash(method.hash, {start.mpint(*secret)});
        if (sessionId_.empty())
            sessionId_ = all;
        WireWriter reply(isGex ? message::kKexGexReply : message::kKexDhReply);
        send(reply.string(key.publicBlob()).raw(agreement->publicField()).string(*key.sign(signing, all)));
        send(WireWriter(message::kNewKeys));
        protect({method.hash, *secret, all, sessionId_});
    }

    void protect(const ExchangeSecrets& secrets)
    {
        codec_.protectOutgoing(std::move(*deriveProtection(choice_, kToClient, secrets)), choice_.strict);
        codec_.compressOutgoing(compresses(choice_, kToClient, loggedIn_));
        next(); // The client's NEWKEYS.
        codec_.protectIncoming(std::move(*deriveProtection(choice_, kToServer, secrets)), choice_.strict);
        codec_.decompressIncoming(compresses(choice_, kToServer, loggedIn_));
    }

    void receive(const Bytes& payload)
    {
        WireReader reader(ByteView(payload).subspan(1));
        switch (payload[0]) {
        case message::kKexInit: {
            const bool first = sessionId_.empty();
            exchangeKeys(payload);
            if (first && !options_.signatureAlgorithms.empty())
                send(WireWriter(message::kExtInfo)
                         .uint32(1)
                         .string("server-sig-algs")
                         .string(options_.signatureAlgorithms));
            return;
        }
        case message::kServiceRequest:
            return send(WireWriter(message::kServiceAccept).string(reader.string()));
        case message::kUserauthRequest:
            return authenticate(payload);
        case message::kUserauthInfoResponse: {
            bool right = reader.uint32() == options_.prompts.size();
            for (std::size_t i = 0; right && i < options_.prompts.size(); ++i) {
                const std::string usual = options_.prompts[i].second ? "" : options_.password;
                right = reader.text() == (options_.answers.empty() ? usual : options_.answers[i]);
            }
            std::this_thread::sleep_for(options_.approval);
            return answerLogin(right);
        }
        case message::kDisconnect:
            seen_.toldToGo = true;
            throw Ended();
        default:
            receiveChannel(payload[0], reader);
        }
    }

    void answerLogin(bool granted)
    {
        if (!granted)
            return send(WireWriter(message::kUserauthFailure).nameList(methods()).boolean(false));
        if (steps_++ < options_.alsoWants.size())
            return send(WireWriter(message::kUserauthFailure).nameList(methods()).boolean(true));
        send(WireWriter(message::kUserauthSuccess));
        loggedIn_ = true;
        if (choice_.compression[kToClient] == "zlib@openssh.com") {
            codec_.compressOutgoing(true);
            codec_.decompressIncoming(true);
        }
    }

    std::vector<std::string> methods() const
    {
        return steps_ == 0 ? options_.authMethods : std::vector{options_.alsoWants[steps_ - 1]};
    }

    void authenticate(ByteView payload)
    {
        WireReader request(payload.subspan(1));
        request.string();
        request.string();
        const std::string method = request.text();
        seen_.authRequests.push_back(method);
        if (!contains(methods(), method))
            return answerLogin(false);
        if (method == "keyboard-interactive") {
            WireWriter questions(message::kUserauthInfoRequest);
            questions.raw(Bytes(12)).uint32(static_cast<std::uint32_t>(options_.prompts.size()));
            for (const auto& [text, shown] : options_.prompts)
                questions.string(text).boolean(shown);
            return send(questions);
        }
        const bool isSigned = request.boolean();
        const std::string word = request.text(); // The password, or the signature's algorithm.
        if (method == "password")
            return answerLogin(word == options_.password);
        seen_.authRequests.push_back(word);
        const ByteView blob = request.string();
        const auto key = PublicKey::parse(blob);
        if (!key.ok() || !(options_.keys.empty() || contains(options_.keys, key->type())))
            return answerLogin(false);
        if (!isSigned)
            return send(WireWriter(message::kUserauthPkOk).string(word).string(blob));
        const ByteView signature = request.string();
        const Bytes all =
            WireWriter().string(sessionId_).raw(payload.first(payload.size() - 4 - signature.size())).take();
        answerLogin(key->verify(*findSignature(word), signature, all).ok());
    }

    void receiveChannel(std::uint8_t number, WireReader& reader)
    {
        if (number == message::kChannelOpen)
            reader.string();
        const std::uint32_t channel = reader.uint32();
        switch (number) {
        case message::kChannelOpen:
            seen_.windowTotal = seen_.window = reader.uint32();
            seen_.packet = reader.uint32();
            return send(WireWriter(message::kChannelOpenConfirmation)
                            .uint32(channel)
                            .uint32(7)
                            .uint32(options_.window)
                            .uint32(32768));
        case message::kChannelWindowAdjust:
            seen_.windowTotal += reader.uint32();
            return;
        case message::kChannelRequest:
            return runRequest(reader);
        case message::kChannelData:
            return receiveData(reader.string());
        case message::kChannelEof:
            return echoes_ ? endCommand() : void();
        default:
            return;
        }
    }

    void receiveData(ByteView data)
    {
        // Room is given when all of it has been used, which is the slowest that a server may be.
        toRefill_ += static_cast<std::uint32_t>(data.size());
        require(toRefill_ <= options_.window);
        if (toRefill_ == options_.window) {
            toRefill_ = 0;
            send(WireWriter(message::kChannelWindowAdjust).uint32(0).uint32(options_.window));
        }
        if (echoes_)
            sendData(data);
        else
            files_.receive(data, replies_);
    }

    void sendReplies()
    {
        if (options_.reversed)
            std::reverse(replies_.begin(), replies_.end());
        const std::vector<Bytes> replies = std::exchange(replies_, {});
        seen_.mostReplies = std::max(seen_.mostReplies, replies.size());
        for (const Bytes& reply : replies)
            sendData(reply);
    }

    void sendData(ByteView data)
    {
        while (!data.empty()) {
            const ByteView piece = data.first(std::min<std::size_t>(data.size(), 8192));
            send(WireWriter(message::kChannelData).uint32(0).string(piece));
            data = data.subspan(piece.size());
        }
    }

    void runRequest(WireReader& reader)
    {
        if (options_.floods)
            for (send(buildKexInit(options_.offer));;)
                send(WireWriter(message::kGlobalRequest).string("question").boolean(true));
        isSftp_ = reader.text() == "subsystem";
        reader.boolean();
        echoes_ = reader.text() == "cat";
        send(WireWriter(message::kChannelSuccess).uint32(0));
        if (isSftp_ || echoes_)
            return;
        sendData(viewOf(options_.output));
        endCommand();
    }

    void endCommand()
    {
        send(WireWriter(message::kChannelRequest).uint32(0).string("exit-status").boolean(false).uint32(5));
        send(WireWriter(message::kChannelEof).uint32(0));
        send(WireWriter(message::kChannelClose).uint32(0));
    }

    const Options& options_;
    std::atomic<std::size_t>& bytesSent_;
    int socket_;
    Seen seen_;
    PacketCodec codec_;
    AlgorithmChoice choice_;
    Bytes sessionId_;
    bool loggedIn_ = false;
    std::size_t steps_ = 0; // Logins that it has accepted.
    FileServer files_;
    std::vector<Bytes> replies_; // Of the files.
    bool isSftp_ = false;
    bool echoes_ = false;
    std::uint32_t toRefill_ = 0;
};

} // namespace

const PrivateKey& keyOfType(const std::string& type)
{
    static std::mutex lock;
    static std::map<std::string, PrivateKey> keys;
    const std::lock_guard guard(lock);
    auto at = keys.find(type);
    if (at == keys.end())
        at = keys.emplace(type, std::move(*readKeyFile(support::makeKeyText(type)))).first;
    return at->second;
}

Peer::Peer(Options options) : options_(std::move(options)), listener_(listenOnLoopback(port_))
{
    platform::setUpGcrypt();
    thread_ = std::thread([this] { serve(); });
}

Peer::~Peer()
{
    shutdown(listener_.get(), SHUT_RDWR);
    thread_.join();
}

Seen Peer::seen()
{
    const std::lock_guard guard(lock_);
    return seen_;
}

void Peer::serve()
{
    for (;;) {
        const platform::Descriptor socket(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!socket)
            return;
        const int one = 1;
        setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        bytesSent_ = 0;
        Seen seen = Connection(options_, bytesSent_, socket.get()).run();
        const std::lock_guard guard(lock_);
        seen_ = std::move(seen);
    }
}

} // namespace peer
