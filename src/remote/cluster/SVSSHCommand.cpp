#include "remote/cluster/SVSSHCommand.h"

#include "platform/ProcessInfo.h"
#include "platform/Utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <thread>

namespace {

constexpr int kIdleLimitMs = 5000;
constexpr int kPollMs = 2000;
constexpr auto kBetweenPolls = std::chrono::milliseconds(200);
constexpr std::size_t kLongestTail = 1 << 20; // Bytes.
constexpr std::size_t kLongestCharacter = 4;

// Where a character begins whose end is missing; the size of a text that is whole.
std::size_t beginOfTornCharacter(std::string_view text)
{
    for (std::size_t back = 1; back < kLongestCharacter && back <= text.size(); ++back) {
        const auto byte = static_cast<unsigned char>(text[text.size() - back]);
        if ((byte & 0xC0) == 0x80)
            continue;
        const std::size_t length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
        return length > back ? text.size() - back : text.size();
    }
    return text.size();
}

// Bytes that are no text become the replacement character.
std::string decoded(std::string_view bytes)
{
    std::string text;
    while (const auto invalid = platform::utf8::firstInvalidByte(bytes)) {
        text.append(bytes.substr(0, *invalid));
        platform::utf8::append(text, U'\uFFFD');
        bytes.remove_prefix(*invalid + 1);
    }
    return text.append(bytes);
}

} // namespace

void SVSSHCommand::main()
{
    ssh::CkoSsh connection;
    const platform::Status status = run(connection);
    connection.Disconnect();
    if (status.ok())
        return callBack(callback_);
    platform::systemLog(status.error().text);
    if (failed_)
        platform::MainLoop::main().postAndWait([&] { failed_(error_.value_or(status.error().text)); });
}

platform::Status SVSSHCommand::run(ssh::CkoSsh& connection)
{
    const auto failure = [&connection] { return platform::Error{connection.LastErrorText()}; };
    // A connection that can't be made has no words for the user: nothing shows them.
    if (auto refused = ConnectionPool::shared().attach(*access_, connection, {std::nullopt, kIdleLimitMs})) {
        if (refused->wasConnected)
            error_ = std::move(refused->sentence);
        return platform::Error{std::move(refused->reason)};
    }
    const int channel = connection.OpenSessionChannel();
    if (channel < 0 || !connection.SendReqExec(channel, cmdString_))
        return failure();
    return takeOutput(connection, channel);
}

platform::Status SVSSHCommand::takeOutput(ssh::CkoSsh& connection, int channel)
{
    bool closed = false;
    // The last look takes what came together with the end.
    for (bool lastLook = false; !lastLook; lastLook = closed) {
        closed = connection.ChannelReceivedClose(channel);
        if (!closed)
            std::this_thread::sleep_for(kBetweenPolls);
        const int count = connection.ChannelReadAndPoll(channel, kPollMs);
        if (count < 0)
            return platform::Error{connection.LastErrorText()};
        if (isCancelled() && output_) // What nobody watches is waited for: its end may change a flag.
            return platform::Error{"The program ends."};
        if (count == 0)
            continue;
        const auto bytes = connection.GetReceivedDataN(channel, count);
        platform::systemLog(fmt::format("{} bytes", bytes.size()));
        append({bytes.begin(), bytes.end()});
        if (output_)
            platform::MainLoop::main().post([output = output_, text = printed()] { output(text); });
    }
    exitStatus_ = connection.GetChannelExitStatus(channel);
    return {};
}

void SVSSHCommand::append(std::string text)
{
    text.insert(0, undecoded_);
    const std::size_t whole = beginOfTornCharacter(text);
    undecoded_ = text.substr(whole);
    tail_ += decoded(std::string_view(text).substr(0, whole));
    if (tail_.size() <= 2 * kLongestTail)
        return;
    // At the end of a line, if there is one soon, else between two characters.
    const std::size_t from = tail_.size() - kLongestTail;
    const std::size_t lineEnd = tail_.find('\n', from);
    std::size_t cut = lineEnd < tail_.size() - kLongestTail / 2 ? lineEnd + 1 : from;
    while ((static_cast<unsigned char>(tail_[cut]) & 0xC0) == 0x80)
        ++cut;
    dropped_ += cut;
    tail_.erase(0, cut);
}

std::string SVSSHCommand::printed() const
{
    return dropped_ == 0 ? tail_ : fmt::format("({} bytes are left out here.)\n{}", dropped_, tail_);
}
