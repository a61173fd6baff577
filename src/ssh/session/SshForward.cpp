#include "ssh/session/SshForward.h"

#include <algorithm>
#include <exception>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>

namespace ssh {

namespace {

constexpr int kPiece = 64 * 1024; // Bytes that are moved together.

} // namespace

Result<SshForward::Opened> SshForward::open(
    std::unique_ptr<ForwardHost> jump, const std::string& host, int port)
{
    const int channel = jump->OpenForwardChannel(host, port);
    if (channel < 0)
        return Error{jump->whyNoForward()};
    int pair[2] = {-1, -1};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, pair) != 0)
        return Error{"There are no sockets left for a connection through another host."};
    platform::Descriptor ours(pair[0]);
    Opened opened;
    opened.socket = Socket(platform::Descriptor(pair[1]));
    try {
        opened.forward.reset(new SshForward(std::move(jump), channel, Socket(std::move(ours)), pair[0]));
    } catch (const std::system_error& error) {
        return Error{
            std::string("There is no thread for a connection through another host: ") + error.what()};
    }
    return opened;
}

SshForward::SshForward(std::unique_ptr<ForwardHost> jump, int channel, Socket socket, int descriptor)
    : jump_(std::move(jump)), channel_(channel), socket_(std::move(socket)), descriptor_(descriptor),
      thread_([this] { serve(); })
{ }

SshForward::~SshForward()
{
    thread_.join();
}

void SshForward::serve()
{
    try {
        for (bool goesOn = true; goesOn;) {
            bool moved = false;
            goesOn = moveToLocal(moved) && moveToServer(moved) && (moved || wait());
        }
    } catch (const std::exception&) {
        // Out of memory: the connection ends, and its user is told so.
    }
    socket_.close();
    jump_->endForwarding();
}

bool SshForward::moveToLocal(bool& moved)
{
    const int waiting = jump_->ChannelReadAndPoll(channel_, 0);
    if (waiting < 0)
        return false;
    if (toLocal_.empty() && waiting > 0) {
        const auto data = jump_->GetReceivedDataN(channel_, std::min(waiting, kPiece));
        toLocal_.assign(data.begin(), data.end());
    }
    if (toLocal_.empty())
        return !jump_->ChannelReceivedClose(channel_);
    const auto written = socket_.write(toLocal_);
    if (!written.ok())
        return false;
    toLocal_.erase(toLocal_.begin(), toLocal_.begin() + static_cast<std::ptrdiff_t>(*written));
    moved = moved || *written > 0;
    return true;
}

bool SshForward::moveToServer(bool& moved)
{
    if (toServer_.empty()) {
        toServer_.resize(kPiece);
        const auto got = socket_.read(toServer_);
        if (!got.ok() || got->ended)
            return false;
        toServer_.resize(got->count);
    }
    if (toServer_.empty())
        return true;
    const int sent = jump_->ChannelSendData(channel_, toServer_);
    if (sent < 0)
        return false;
    toServer_.erase(toServer_.begin(), toServer_.begin() + sent);
    moved = moved || sent > 0;
    return true;
}

bool SshForward::wait() const
{
    const auto events = [](bool reads, bool writes) {
        return static_cast<short>((reads ? POLLIN : 0) | (writes ? POLLOUT : 0));
    };
    pollfd polled[] = {{jump_->Descriptor(), events(true, jump_->HasUnsent()), 0},
        {descriptor_, events(toServer_.empty(), !toLocal_.empty()), 0}};
    const int ready = platform::retryInterrupted([&] { return ::poll(polled, std::size(polled), -1); });
    return ready > 0 && !(polled[1].revents & (POLLERR | POLLNVAL))
        && !((polled[1].revents & POLLHUP) && !toServer_.empty());
}

} // namespace ssh
