#pragma once

#include "platform/service/ServiceConnection.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

// The link to the companion, which shows what runs have computed: it is told which tasks of which wrapper
// have changed, merged by task, at most once every 3 seconds. Without a companion the changes are held, and
// go out in one message when one is found. Main thread.
class SorvantaLink {
public:
    static constexpr const char* kName = "SorvantaTrelkindNotify";
    static constexpr const char* kOperation = "recieveTrelkindNotification:";
    using Content = std::map<std::string, std::set<int>>; // From a wrapper's path to task numbers.

    // The function is called whenever the link comes or goes.
    explicit SorvantaLink(std::function<void()> whenStateChanges);

    // Looks for the companion when there is no link, and sends what is held once there is one. Returns at
    // once: a companion that lets nobody in holds up nothing.
    void tryToConnectToSorvanta();
    bool isConnected() const { return connectionToSorvanta_ && connectionToSorvanta_->isConnected(); }
    bool isConnecting() const { return connectionToSorvanta_ && connectionToSorvanta_->isConnecting(); }
    // The program ends: sends what is held, however recent the last message is.
    void sendBeforeTheEnd();

    void add(const std::string& wrapperName, int numberInProject);
    // Sends what is held unless the last message is too recent. Without a sender it is a timer that asks.
    enum class Sender { None, Application };
    void trySendingNow(Sender sender);
    // What is held.
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
