#include "platform/service/TcpService.h"

#include "platform/loop/MainLoop.h"
#include "platform/service/ConnectionAcceptor.h"
#include "platform/service/SecretProof.h"
#include "platform/service/ServiceChannel.h"
#include "platform/service/TcpSockets.h"

#include <algorithm>
#include <cerrno>
#include <list>
#include <sys/socket.h>

namespace platform {

namespace {

constexpr std::size_t kMostUnproved = 16;
constexpr double kSecondsToProve = 4.0;

} // namespace

// A connection whose other side has yet to prove that it knows the secret.
class UnprovedConnection {
public:
    enum class Answer { GoOn, Proved, Refused };
    UnprovedConnection(Descriptor socket, const std::string& secret)
        : socket_(std::move(socket)), proof_(SecretProof::Side::Listening, secret)
    { }
    // Calls the function once, unless this object goes before.
    void begin(std::function<void(Answer)> ended)
    {
        watch_ = MainLoop::main().watchReadable(socket_.get(), [this, ended] {
            if (const Answer answer = read(); answer != Answer::GoOn)
                ended(answer);
        });
        limit_ = Timer::schedule(kSecondsToProve, Timer::Repeats::No, [ended] { ended(Answer::Refused); });
    }
    Descriptor takeSocket()
    {
        watch_.reset();
        return std::move(socket_);
    }

private:
    Answer read()
    {
        std::string bytes(proof_.bytesWanted() - received_.size(), '\0');
        const ssize_t count =
            retryInterrupted([&] { return ::recv(socket_.get(), bytes.data(), bytes.size(), 0); });
        if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return Answer::GoOn;
        if (count <= 0)
            return Answer::Refused;
        received_.append(bytes, 0, static_cast<std::size_t>(count));
        if (received_.size() < proof_.bytesWanted())
            return Answer::GoOn;
        if (!proof_.take(std::exchange(received_, {})))
            return Answer::Refused;
        // A new connection takes these few bytes at once.
        if (const std::string reply = proof_.takeBytesToSend(); !reply.empty()
            && ::send(socket_.get(), reply.data(), reply.size(), MSG_NOSIGNAL)
                != static_cast<ssize_t>(reply.size()))
            return Answer::Refused;
        return proof_.bytesWanted() == 0 ? Answer::Proved : Answer::GoOn;
    }

    Descriptor socket_;
    SecretProof proof_;
    std::string received_;
    std::unique_ptr<MainLoop::Watch> watch_;
    std::unique_ptr<Timer> limit_;
};

struct TcpService::State : std::enable_shared_from_this<State> {
    void add(Descriptor socket);
    void ended(const UnprovedConnection* which, UnprovedConnection::Answer answer);
    void handOut(Descriptor socket) const;

    Descriptor listening;
    std::optional<std::string> secret;
    Take take;
    std::list<std::shared_ptr<UnprovedConnection>> unproved;
    std::unique_ptr<ConnectionAcceptor> acceptor;
};

void TcpService::State::add(Descriptor socket)
{
    if (!secret)
        return handOut(std::move(socket));
    if (unproved.size() >= kMostUnproved)
        return;
    auto added = std::make_shared<UnprovedConnection>(std::move(socket), *secret);
    unproved.push_back(added);
    added->begin([weak = weak_from_this(), which = added.get()](UnprovedConnection::Answer answer) {
        if (const auto self = weak.lock())
            self->ended(which, answer);
    });
}

void TcpService::State::ended(const UnprovedConnection* which, UnprovedConnection::Answer answer)
{
    const auto place = std::find_if(
        unproved.begin(), unproved.end(), [which](const auto& one) { return one.get() == which; });
    if (place == unproved.end())
        return;
    const auto held = *place;
    unproved.erase(place);
    // Its own handler may be the caller.
    MainLoop::main().afterThisEvent([held] {});
    if (answer == UnprovedConnection::Answer::Proved)
        handOut(held->takeSocket());
}

void TcpService::State::handOut(Descriptor socket) const
{
    auto channel = std::make_shared<ServiceChannel>();
    channel->begin(std::move(socket));
    take(ServiceConnection::over(std::move(channel)));
}

TcpService::TcpService(std::shared_ptr<State> state) : state_(std::move(state)) { }

TcpService::~TcpService()
{
    state_->acceptor.reset();
    state_->unproved.clear();
    state_->take = [](auto) {};
}

Result<std::unique_ptr<TcpService>> TcpService::offer(
    const std::string& address, int port, std::optional<std::string> secret, Take take)
{
    MainLoop::main().assertLoopThread();
    auto listening = tcpsockets::listen(address, port);
    if (!listening)
        return listening.error();
    auto state = std::make_shared<State>();
    state->listening = std::move(*listening);
    state->secret = std::move(secret);
    state->take = std::move(take);
    state->acceptor = std::make_unique<ConnectionAcceptor>(
        state->listening.get(), [raw = state.get()] { return tcpsockets::accept(raw->listening); },
        [weak = std::weak_ptr(state)](Descriptor socket) {
            if (const auto self = weak.lock())
                self->add(std::move(socket));
        });
    return std::unique_ptr<TcpService>(new TcpService(std::move(state)));
}

int TcpService::port() const
{
    return tcpsockets::portOf(state_->listening);
}

} // namespace platform
