#include "ssh/Relay.h"

#include "ssh/Support.h"

#include <algorithm>
#include <arpa/inet.h>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

struct Piece {
    Clock::time_point due;
    int round; // Round trips that had to be over before it could be sent.
    std::vector<char> bytes; // Empty for the end of the stream.
};

// What is on the line in one direction.
struct Line {
    std::atomic<int>& known; // The rounds that have reached the far end.
    std::mutex lock{};
    std::condition_variable changed{};
    std::deque<Piece> pieces{};
    std::size_t bytes = 0;
};

constexpr std::size_t kMostOnTheLine = 128 * 1024 * 1024;

// Of one connection: the rounds that each end has been given.
struct Rounds {
    std::atomic<int> client{0};
    std::atomic<int> server{0};
};

void writePieces(Line& line, int to)
{
    for (;;) {
        std::unique_lock lock(line.lock);
        line.changed.wait(lock, [&] { return !line.pieces.empty(); });
        const Piece piece = std::move(line.pieces.front());
        line.pieces.pop_front();
        line.bytes -= piece.bytes.size();
        line.changed.notify_all();
        lock.unlock();
        std::this_thread::sleep_until(piece.due);
        if (!piece.bytes.empty())
            line.known = std::max<int>(line.known, piece.round);
        std::size_t sent = 0;
        while (sent < piece.bytes.size()) {
            const ssize_t put = send(to, piece.bytes.data() + sent, piece.bytes.size() - sent, MSG_NOSIGNAL);
            if (put <= 0)
                break;
            sent += static_cast<std::size_t>(put);
        }
        if (piece.bytes.empty()) {
            shutdown(to, SHUT_WR);
            return;
        }
    }
}

void carry(int from, int to, std::chrono::milliseconds delay, std::atomic<std::int64_t>& carried,
    std::atomic<int>& known, const std::function<int()>& round)
{
    Line line{known};
    std::thread writer([&] { writePieces(line, to); });
    std::vector<char> buffer(256 * 1024);
    ssize_t got = 0;
    do {
        got = recv(from, buffer.data(), buffer.size(), 0);
        const std::size_t count = got > 0 ? static_cast<std::size_t>(got) : 0;
        std::unique_lock lock(line.lock);
        line.changed.wait(lock, [&] { return line.bytes < kMostOnTheLine; });
        line.pieces.push_back({Clock::now() + delay, count ? round() : 0,
            {buffer.begin(), buffer.begin() + static_cast<long>(count)}});
        line.bytes += count;
        carried += static_cast<std::int64_t>(count);
        line.changed.notify_all();
    } while (got > 0);
    writer.join();
}

} // namespace

Relay::Relay(int targetPort, std::chrono::milliseconds delay)
    : targetPort_(targetPort), delay_(delay), listener_(support::listenOnLoopback(port_).release())
{
    thread_ = std::thread([this] { accept(); });
}

Relay::~Relay()
{
    shutdown(listener_, SHUT_RDWR);
    thread_.join();
    for (std::thread& carrier : carriers_)
        carrier.join();
    close(listener_);
}

int Relay::roundTrips()
{
    while (open_ > 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return roundTrips_;
}

void Relay::accept()
{
    for (;;) {
        const int client = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0)
            return;
        ++open_;
        carriers_.emplace_back([this, client] {
            connectThrough(client);
            --open_;
        });
    }
}

void Relay::connectThrough(int client)
{
    const int server = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = support::loopback(targetPort_);
    const int one = 1;
    for (const int end : {client, server})
        setsockopt(end, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    if (connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
        Rounds rounds;
        // The server's answer is one round further than what it has been given; the client goes on from
        // there.
        std::thread back(
            [&] { carry(server, client, delay_, bytes_, rounds.client, [&] { return rounds.server + 1; }); });
        roundTrips_ = 0;
        carry(client, server, delay_, bytes_, rounds.server,
            [&] { return int{roundTrips_ = int{rounds.client}}; });
        back.join();
    }
    close(client);
    close(server);
}
