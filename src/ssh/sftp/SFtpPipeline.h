#pragma once

#include "ssh/sftp/SFtpSession.h"

#include <unordered_map>
#include <vector>

namespace ssh {

// Many small pieces of work at once on one session: each asks for something, and for more when it has its
// answer, while the others do the same. So the time of a round trip is spent once for all of them.
class SFtpPipeline {
public:
    // Takes a reply. An error ends all work: what concerns one piece alone is kept by the piece.
    using Then = std::function<Status(const SFtpSession::Reply&)>;

    explicit SFtpPipeline(SFtpSession& session) : session_(session) { }
    ~SFtpPipeline(); // Replies that are still on their way will be dropped.
    SFtpPipeline(const SFtpPipeline&) = delete;
    SFtpPipeline& operator=(const SFtpPipeline&) = delete;

    // Begins the pieces from 0 to `count` - 1 in order, as many at a time as a server is sure to take, until
    // all of them have ended: a piece has ended when none of its requests is on its way. `ended` is called
    // with the number of pieces that have.
    Status run(std::size_t count, const std::function<Status(std::size_t piece)>& begin,
        const std::function<void(std::size_t count)>& ended = nullptr);
    // Called while a piece begins or takes a reply.
    Status ask(std::size_t piece, std::uint8_t type, ByteView head, Then then, ByteView tail = {});
    SFtpSession& session() { return session_; }

private:
    struct Question {
        std::size_t piece;
        Then then;
    };
    bool mayBegin() const;
    Status receive(const SFtpSession::Reply& reply);

    SFtpSession& session_;
    std::unordered_map<std::uint32_t, Question> questions_; // By the id of the request.
    std::size_t begun_ = 0;
    std::function<void(std::size_t)> ended_;
    std::unordered_map<std::size_t, std::size_t> onTheirWay_; // Requests of each piece that has begun.
};

} // namespace ssh
