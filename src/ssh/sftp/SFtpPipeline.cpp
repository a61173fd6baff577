#include "ssh/sftp/SFtpPipeline.h"

namespace ssh {

namespace {

constexpr std::size_t kMostPieces = 200; // Each may hold a handle, and servers end at about a thousand.

} // namespace

SFtpPipeline::~SFtpPipeline()
{
    for (const auto& [id, question] : questions_)
        session_.abandon(id);
}

bool SFtpPipeline::mayBegin() const
{
    return onTheirWay_.size() < kMostPieces && session_.hasRoom();
}

Status SFtpPipeline::ask(std::size_t piece, std::uint8_t type, ByteView head, Then then, ByteView tail)
{
    const auto id = session_.send(type, head, tail);
    if (!id.ok())
        return id.error();
    questions_.emplace(*id, Question{piece, std::move(then)});
    ++onTheirWay_[piece];
    return {};
}

Status SFtpPipeline::receive(const SFtpSession::Reply& reply)
{
    const auto found = questions_.find(reply.id);
    if (found == questions_.end())
        return SFtpSession::malformed();
    const Question question = std::move(found->second);
    questions_.erase(found);
    Status status = question.then(reply);
    const auto piece = onTheirWay_.find(question.piece);
    if (--piece->second > 0)
        return status;
    onTheirWay_.erase(piece);
    if (ended_)
        ended_(begun_ - onTheirWay_.size());
    return status;
}

Status SFtpPipeline::run(std::size_t count, const std::function<Status(std::size_t piece)>& begin,
    const std::function<void(std::size_t count)>& ended)
{
    ended_ = ended;
    begun_ = 0;
    do {
        while (begun_ < count && mayBegin())
            if (Status status = begin(begun_++); !status.ok())
                return status;
        if (Status status =
                session_.exchange([this](const SFtpSession::Reply& reply) { return receive(reply); },
                    [this] { return questions_.empty(); }, [&] { return begun_ < count && mayBegin(); });
            !status.ok())
            return status;
    } while (begun_ < count || !questions_.empty());
    return {};
}

} // namespace ssh
