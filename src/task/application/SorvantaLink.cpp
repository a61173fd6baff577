#include "task/application/SorvantaLink.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/ProcessInfo.h"
#include "platform/loop/MainLoop.h"

#include <fmt/format.h>

namespace {

constexpr double kSecondsBetweenMessages = 3.0;
constexpr double kSecondsOfHeldTimer = 2.0;
constexpr double kMostSecondsAtTheEnd = 0.2;

platform::Value asPropertyList(const SorvantaLink::Content& content)
{
    platform::Value::Dictionary dictionary;
    for (const auto& [wrapper, numbers] : content)
        dictionary[wrapper] = platform::Value::Array(numbers.begin(), numbers.end());
    return dictionary;
}

const char* reasonOf(platform::ServiceConnection::Failure failure)
{
    switch (failure) {
    case platform::ServiceConnection::Failure::TimeLimit:
        return "the companion takes no messages";
    case platform::ServiceConnection::Failure::PeerGone:
        return "the companion has gone";
    case platform::ServiceConnection::Failure::NotConnected:
        return "there is no connection";
    case platform::ServiceConnection::Failure::None:
        break;
    }
    return "";
}

} // namespace

SorvantaLink::SorvantaLink(std::function<void()> whenStateChanges)
    : whenStateChanges_(std::move(whenStateChanges))
{ }

void SorvantaLink::tryToConnectToSorvanta()
{
    if (!connectionToSorvanta_) {
        connectionToSorvanta_ = platform::ServiceConnection::connectLater(
            kName, [this](const platform::Status& status) { connected(status); });
        connectionToSorvanta_->whenPeerDies([this] { connectionDidDie(); });
    }
    whenStateChanges_();
    if (isConnected())
        trySendingNow(Sender::Application);
}

void SorvantaLink::connected(const platform::Status& status)
{
    if (!status)
        connectionToSorvanta_.reset();
    whenStateChanges_();
    if (isConnected())
        trySendingNow(Sender::Application);
}

void SorvantaLink::sendBeforeTheEnd()
{
    auto& loop = platform::MainLoop::main();
    loop.runUntil([this] { return !isConnecting(); }, kMostSecondsAtTheEnd);
    if (isConnected() && !combinedContent_.empty())
        sendContentOver();
    loop.runPending();
}

void SorvantaLink::connectionDidDie()
{
    connectionToSorvanta_.reset();
    platform::systemLog("Connection to Sorvanta closed down");
    whenStateChanges_();
}

void SorvantaLink::add(const std::string& wrapperName, int numberInProject)
{
    combinedContent_[wrapperName].insert(numberInProject);
}

void SorvantaLink::trySendingNow(Sender sender)
{
    if (sender == Sender::None)
        sentTimer_ = false;
    if (combinedContent_.empty())
        return;
    if (!lastCommunicationWithSorvanta_
        || platform::monotonicSeconds() - *lastCommunicationWithSorvanta_
            > platform::Pace::of(kSecondsBetweenMessages).count()) {
        sendContentOver();
        return;
    }
    if (sentTimer_)
        return;
    sentTimer_ = true;
    // The timer is on no loop and never fires: pending changes go out with the next change or connection, not
    // by the clock. The companion relies on a message meaning that something has just changed.
    platform::Timer::unscheduled(kSecondsOfHeldTimer, [this] { trySendingNow(Sender::None); });
}

void SorvantaLink::sendContentOver()
{
    const auto failure = connectionToSorvanta_
        ? connectionToSorvanta_->send(kOperation, asPropertyList(combinedContent_))
        : platform::ServiceConnection::Failure::None;
    if (failure != platform::ServiceConnection::Failure::None) {
        const auto text = fmt::format("Error when connecting ({},{}).", "SendFailed", reasonOf(failure));
        KRMessageCenter::addMessage("Error when connecting", text);
        platform::systemLog(text);
    }
    lastCommunicationWithSorvanta_ = platform::monotonicSeconds();
    combinedContent_.clear();
}
