#pragma once

#include "ssh/session/SharedConnection.h"

namespace ssh {

// The channels of one caller on a connection that others use too. Its channels are its own, so that it is
// used like a connection of its own. One thread at a time; it is waited for by none of the others.
class SharedSession : public ChannelHost {
public:
    // With a session channel open, which the first request for one gets. Fails when the server refuses the
    // channel or the connection has ended; nothing has been done on the server then.
    static Result<std::unique_ptr<ChannelHost>> open(
        std::shared_ptr<SharedConnection> connection, TransportSettings settings, bool takesErrorOutput);
    ~SharedSession() override; // Closes the channels, without waiting.
    SharedSession(const SharedSession&) = delete;
    SharedSession& operator=(const SharedSession&) = delete;

    bool connected() const override { return !hasFailed_ && !connection_->hasEnded(); }
    const std::string& serverVersion() const override { return serverVersion_; }
    std::uint32_t openWindow() const override { return settings_.openWindow; }
    std::size_t unsent() const override { return connection_->unsent(); }
    ChannelTable& channels() override { return channels_; }
    Result<std::uint32_t> requestChannel(bool takesErrorOutput) override;
    Status waitFor(const std::function<bool()>& done) override;
    Status waitUntil(Deadline deadline, const std::function<bool()>& done) override;
    Status flush() override; // The connection's thread sends; this tells whether it still can.

private:
    SharedSession(std::shared_ptr<SharedConnection> connection, TransportSettings settings);
    std::chrono::milliseconds silence() const;
    // Takes what has come; the number to wait from.
    Result<std::uint64_t> takeMessages();
    Error fail(Error error);

    const std::shared_ptr<SharedConnection> connection_;
    const TransportSettings settings_;
    const std::string serverVersion_;
    SharedConnection::Inbox inbox_;
    ChannelTable channels_;
    std::optional<std::uint32_t> readyChannel_; // Opened with the session.
    Bytes messages_;
    bool hasFailed_ = false;
};

} // namespace ssh
