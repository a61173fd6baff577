#include "ssh/session/SharedSession.h"

#include "ssh/crypto/Wire.h"

#include <algorithm>

namespace ssh {

namespace {

// Window adjustments, answers, and what messages take beside their data.
constexpr std::size_t kRoomBesideWindow = std::size_t{1} << 20;

} // namespace

Result<std::unique_ptr<ChannelHost>> SharedSession::open(
    std::shared_ptr<SharedConnection> connection, TransportSettings settings, bool takesErrorOutput)
{
    std::unique_ptr<SharedSession> session(new SharedSession(std::move(connection), std::move(settings)));
    const auto channel = session->openChannel(takesErrorOutput);
    if (!channel.ok())
        return channel.error();
    session->readyChannel_ = *channel;
    return std::unique_ptr<ChannelHost>(std::move(session));
}

SharedSession::SharedSession(std::shared_ptr<SharedConnection> connection, TransportSettings settings)
    : connection_(std::move(connection)), settings_(std::move(settings)),
      serverVersion_(connection_->serverVersion()),
      channels_([this](ByteView head, ByteView body) { return connection_->send(head, body); },
          [this] { return connection_->newChannel(inbox_); })
{
    // Small messages take several times the bytes that they count in the window.
    inbox_.limit =
        4 * std::size_t{std::max(settings_.openWindow, settings_.initialWindow)} + kRoomBesideWindow;
    connection_->join();
}

SharedSession::~SharedSession()
{
    connection_->leave(inbox_);
}

std::chrono::milliseconds SharedSession::silence() const
{
    constexpr std::chrono::hours kNoLimit{6};
    return settings_.idleLimit.count() > 0 ? settings_.idleLimit : kNoLimit;
}

Error SharedSession::fail(Error error)
{
    hasFailed_ = true;
    return error;
}

Result<std::uint32_t> SharedSession::requestChannel(bool takesErrorOutput)
{
    if (readyChannel_)
        return *std::exchange(readyChannel_, std::nullopt);
    const auto number = channels_.open(settings_.initialWindow, settings_.maximumPacket);
    if (number.ok())
        channels_.find(*number)->takesErrorOutput = takesErrorOutput;
    return number;
}

Result<std::uint64_t> SharedSession::takeMessages()
{
    const std::uint64_t since = connection_->take(inbox_, messages_);
    for (ByteView left = messages_; !left.empty();) {
        WireReader reader(left);
        const ByteView payload = reader.string();
        if (Status status = channels_.receive(payload); !status.ok()) {
            connection_->fail(status.error());
            return fail(status.error());
        }
        left = reader.rest();
    }
    return since;
}

Status SharedSession::waitUntil(Deadline deadline, const std::function<bool()>& done)
{
    for (;;) {
        const auto since = takeMessages();
        if (!since.ok())
            return since.error();
        if (done())
            return {};
        const auto event = connection_->wait(inbox_, *since, deadline, settings_.keepAlive, silence());
        if (!event.ok())
            return fail(event.error());
        if (*event == SharedConnection::Event::TimedOut)
            return {};
    }
}

Status SharedSession::waitFor(const std::function<bool()>& done)
{
    const Deadline begin = Clock::now();
    bool isDone = false;
    const auto check = [&] { return isDone = done(); };
    for (;;) {
        const Deadline life = std::max(begin, connection_->lastLife());
        if (Status status = waitUntil(life + silence(), check); !status.ok() || isDone)
            return status;
        if (Clock::now() < std::max(begin, connection_->lastLife()) + silence())
            continue;
        connection_->giveUp();
        return fail(Error{
            "The server was silent for " + std::to_string(silence().count()) + " ms, the idle time limit."});
    }
}

Status SharedSession::flush()
{
    return connected() ? Status() : Status(Error{"There is no connection to a server."});
}

} // namespace ssh
