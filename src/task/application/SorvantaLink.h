#pragma once

#include "platform/service/ServiceConnection.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

// The link to the companion, which visualises results. It notifies the companion which tasks of which wrapper
// have changed, merged by task, at most once every 3 seconds. Without a companion the changes are kept and
// sent in one message after the next connection. Main thread.
class SorvantaLink {
public:
    static constexpr const char* kName = "SorvantaTrelkindNotify";
    static constexpr const char* kOperation = "recieveTrelkindNotification:";
    using Content = std::map<std::string, std::set<int>>; // From a wrapper's path to task numbers.

    // Calls the function whenever the link is made or lost.
    explicit SorvantaLink(std::function<void()> whenStateChanges);

    // Connects to the companion unless there is a link already, then sends the pending changes. Returns at
    // once, even if the companion does not accept the connection.
    void tryToConnectToSorvanta();
    bool isConnected() const { return connectionToSorvanta_ && connectionToSorvanta_->isConnected(); }
    bool isConnecting() const { return connectionToSorvanta_ && connectionToSorvanta_->isConnecting(); }
    // Sends the pending changes before the program ends, without regard to the rate limit.
    void sendBeforeTheEnd();

    void add(const std::string& wrapperName, int numberInProject);
    // Sends the pending changes unless the last message is too recent. Sender::None means that the timer
    // calls.
    enum class Sender { None, Application };
    void trySendingNow(Sender sender);
    // The pending changes.
    const Content& combinedContent() const { return combinedContent_; }

private:
    void sendContentOver();
    void connected(const platform::Status& status);
    void connectionDidDie();

    std::function<void()> whenStateChanges_;
    std::unique_ptr<platform::ServiceConnection> connectionToSorvanta_;
    std::optional<double> lastCommunicationWithSorvanta_; // Monotonic seconds.
    Content combinedContent_;
    bool sentTimer_ = false;
};
