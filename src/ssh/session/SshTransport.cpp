#include "ssh/session/SshTransport.h"

#include "ssh/crypto/Wire.h"

#include <algorithm>

namespace ssh {

namespace {

constexpr std::size_t kReadSize = std::size_t{256} * 1024;
constexpr std::chrono::milliseconds kSixHours{21600000};

const Error kNotConnected{"There is no connection to a server."};
const Error kNotLoggedIn{"A channel needs a connection with a user logged in."};

// The name is written to the known hosts file, where blanks, commas and wildcards have a meaning.
bool isHostName(const std::string& host)
{
    return !host.empty() && host.size() < 256 && std::all_of(host.begin(), host.end(), [](unsigned char c) {
        return c > 0x20 && c != 0x7f
            && std::string_view(",*?!|[]#@\"'").find(static_cast<char>(c)) == std::string_view::npos;
    });
}

} // namespace

SshTransport::SshTransport(TransportSettings settings, Log log)
    : settings_(std::move(settings)), log_(std::move(log))
{ }

SshTransport::~SshTransport()
{
    disconnect();
}

std::chrono::milliseconds SshTransport::idleLimit() const
{
    return settings_.idleLimit.count() > 0 ? settings_.idleLimit : kSixHours;
}

Status SshTransport::fail(Error error)
{
    log_(error.text);
    socket_.close();
    return error;
}

Status SshTransport::connect(const std::string& host, int port)
{
    return connect(host, port, [&](Deadline deadline) { return Socket::connect(host, port, deadline); });
}

Status SshTransport::connect(const std::string& host, int port, const Open& open)
{
    disconnect();
    if (!isHostName(host))
        return Error{"There is no host of the name \"" + printable(host, 80) + "\"."};
    if (port < 1 || port > 65535)
        return Error{"There is no port " + std::to_string(port) + "."};
    const std::string& name = settings_.clientVersion;
    if (!name.starts_with("SSH-2.0-") || name.size() > 253 || printable(name, name.size()) != name)
        return Error{"The client identification must be a line that begins with \"SSH-2.0-\"."};
    const auto limit = settings_.connectLimit.count() > 0 ? settings_.connectLimit : kSixHours;
    const Deadline deadline = Clock::now() + limit;
    const KnownHosts knownHosts(
        settings_.knownHosts.empty() ? KnownHosts::defaultPath() : settings_.knownHosts);
    SshProtocol::Setup setup{settings_.clientVersion, settings_.algorithms, {}, log_};
    setup.algorithms.knownKeyTypes = knownHosts.keyTypes(host, port);
    setup.acceptHostKey = [=, this](
                              const PublicKey& key) { return acceptHostKey(knownHosts, host, port, key); };
    protocol_ = std::make_unique<SshProtocol>(std::move(setup));
    ended_ = hostKeyIsNew_ = false;

    Result<Socket> socket = open(deadline);
    if (!socket.ok())
        return fail(socket.error());
    socket_ = std::move(*socket);
    return handshake(deadline);
}

Status SshTransport::acceptHostKey(
    const KnownHosts& knownHosts, const std::string& host, int port, const PublicKey& key)
{
    const bool mayRecord = settings_.trustsNewHosts || settings_.trustedFingerprint == key.fingerprint();
    const auto meeting = knownHosts.accept(host, port, key, mayRecord);
    if (!meeting.ok())
        return meeting.error();
    hostKeyIsNew_ = *meeting != KnownHosts::Meeting::Known;
    if (*meeting == KnownHosts::Meeting::FirstUnrecorded)
        return Error{"The host " + host + " is met for the first time, and nobody has confirmed its key "
            + key.type() + " " + key.fingerprint() + "."};
    if (hostKeyIsNew_)
        log_("The host " + host + " is met for the first time. Its key has been recorded: " + key.type() + " "
            + key.fingerprint());
    return {};
}

Status SshTransport::handshake(Deadline deadline)
{
    const Status started = protocol_->start();
    if (!started.ok())
        return fail(started.error());
    Status status = waitUntil(deadline, [this] { return protocol_->established(); });
    if (!status.ok())
        return status;
    if (protocol_->established())
        return flush();
    return fail(Error{"The server didn't complete the SSH handshake within the connect time limit."});
}

void SshTransport::disconnect()
{
    if (socket_.isOpen() && protocol_) {
        try {
            protocol_->disconnect();
            (void)SshTransport::flush(); // Not virtual: the destructor calls this too.
        } catch (const std::exception&) {
            // Out of memory. An exception would end the process when the destructor calls this.
        }
    }
    socket_.close();
    protocol_.reset();
}

Status SshTransport::flush()
{
    if (!socket_.isOpen())
        return kNotConnected;
    ByteQueue& outgoing = protocol_->outgoing();
    while (!outgoing.empty()) {
        const Result<std::size_t> written = socket_.write(outgoing.view());
        if (!written.ok())
            return written.error();
        if (*written == 0)
            break;
        outgoing.consume(*written);
        written_ += *written;
    }
    return {};
}

void SshTransport::noteMove()
{
    moved_ = true;
    lastMove_ = Clock::now();
}

Status SshTransport::readAvailable()
{
    const Result<Socket::Transfer> got = socket_.read({protocol_->incoming().prepare(kReadSize), kReadSize});
    if (!got.ok())
        return got.error();
    protocol_->incoming().commit(got->count);
    if (got->count > 0)
        noteMove();
    ended_ = ended_ || got->ended;
    return protocol_->process();
}

Result<SshTransport::Progress> SshTransport::moveBytes(Deadline deadline)
{
    // When sending fails, the server's reason may still be there to read.
    const Status sent = flush();
    if (!socket_.isOpen())
        return kNotConnected;
    const Status worked = protocol_->idleWork();
    if (!worked.ok())
        return fail(worked.error()).error();
    const bool blocked = !protocol_->outgoing().empty() && sent.ok();
    const std::uint64_t before = written_;
    const auto event = socket_.wait(blocked, deadline);
    if (!event.ok())
        return fail(event.error()).error();
    if (*event == Socket::Event::TimedOut)
        return Progress::TimedOut;
    const Status moved = takeAvailable(sent, blocked, before);
    return moved.ok() ? Result<Progress>(Progress::Moved) : Result<Progress>(moved.error());
}

Status SshTransport::takeAvailable(const Status& sent, bool wasBlocked, std::uint64_t writtenBefore)
{
    const Status read = readAvailable();
    (void)flush();
    if (wasBlocked && written_ > writtenBefore)
        noteMove();
    if (!read.ok())
        return fail(read.error());
    return sent.ok() ? sent : fail(sent.error());
}

Status SshTransport::moveWithoutWaiting()
{
    const std::uint64_t before = written_;
    const Status sent = flush();
    if (!socket_.isOpen())
        return kNotConnected;
    if (const Status worked = protocol_->idleWork(); !worked.ok())
        return fail(worked.error());
    if (Status moved = takeAvailable(sent, socketWasFull_, before); !moved.ok())
        return moved;
    socketWasFull_ = hasToSend();
    return ended_ ? fail(endOfServer()) : Status();
}

Error SshTransport::endOfServer()
{
    return Error{protocol_->incoming().empty()
            ? "The server closed the connection."
            : "Closing SSH connection because incomplete packet received."};
}

Status SshTransport::waitUntil(Deadline deadline, const std::function<bool()>& done)
{
    while (!done()) {
        if (!socket_.isOpen())
            return kNotConnected;
        if (ended_)
            return fail(endOfServer());
        const Result<Progress> progress = moveBytes(std::min(deadline, nextProbe()));
        if (!progress.ok())
            return progress.error();
        // Checked in any case: a server that keeps sending must not extend the deadline.
        if (Clock::now() >= deadline)
            return {};
        if (*progress == Progress::TimedOut)
            if (Status probed = probe(); !probed.ok())
                return probed;
    }
    return {};
}

// A server is asked after half of the idle limit, and has the other half for its answer.
Deadline SshTransport::nextProbe() const
{
    return settings_.keepAlive && authenticated() ? std::max(lastMove_, lastProbe_) + idleLimit() / 2
                                                  : Deadline::max();
}

Status SshTransport::probe()
{
    if (Clock::now() < nextProbe())
        return {};
    if (lastProbe_ > lastMove_)
        return fail(Error{"The server was silent for " + std::to_string(idleLimit().count())
            + " ms, the idle time limit, and doesn't answer."});
    lastProbe_ = Clock::now();
    return protocol_->sendKeepAlive();
}

Status SshTransport::waitFor(const std::function<bool()>& done)
{
    return waitWithin([this] { return idleLimit(); }, done);
}

// The limit is asked for anew after each sign of life.
Status SshTransport::waitWithin(
    const std::function<std::chrono::milliseconds()>& limit, const std::function<bool()>& done)
{
    bool reached = false;
    const auto check = [&] { return (reached = done()) || moved_; };
    do {
        moved_ = false;
        const std::chrono::milliseconds now = limit();
        Status status = waitUntil(Clock::now() + now, check);
        if (!status.ok())
            return status;
        if (!reached && !moved_ && !done())
            return fail(Error{
                "The server was silent for " + std::to_string(now.count()) + " ms, the idle time limit."});
    } while (!reached && !done());
    return {};
}

Status SshTransport::authenticate(Credentials credentials)
{
    if (!connected())
        return kNotConnected;
    if (authenticated())
        return Error{"A user is logged in on this connection already."};
    Status begun = protocol_->authenticate(std::move(credentials));
    if (!begun.ok())
        return begun;
    const auto limit = [this] {
        return protocol_->auth().awaitsPerson() ? std::max(idleLimit(), settings_.approvalLimit)
                                                : idleLimit();
    };
    Status status = waitWithin(limit, [this] { return !protocol_->auth().pending(); });
    if (!status.ok())
        return status;
    if (!protocol_->auth().done()) {
        log_(protocol_->auth().refusal());
        return Error{protocol_->auth().refusal()};
    }
    return {};
}

Status SshTransport::exchangeKeys()
{
    if (!connected())
        return kNotConnected;
    const Status started = protocol_->exchangeKeys();
    if (!started.ok())
        return fail(started.error());
    return waitFor([this] { return !protocol_->exchangingKeys(); });
}

Result<std::uint32_t> SshTransport::requestChannel(bool takesErrorOutput)
{
    if (!connected() || !authenticated())
        return kNotLoggedIn;
    auto number = channels().open(settings_.initialWindow, settings_.maximumPacket);
    if (number.ok())
        channel(*number)->takesErrorOutput = takesErrorOutput;
    return number;
}

Result<std::uint32_t> SshTransport::openForward(const std::string& host, int port)
{
    if (!connected() || !authenticated())
        return kNotLoggedIn;
    WireWriter target;
    target.string(host).uint32(static_cast<std::uint32_t>(port)).string("127.0.0.1").uint32(0);
    const auto number =
        channels().open(settings_.initialWindow, settings_.maximumPacket, "direct-tcpip", target);
    const Status opened = number.ok() ? awaitChannel(*number) : Status(number.error());
    return opened.ok() ? number : opened.error();
}

} // namespace ssh
