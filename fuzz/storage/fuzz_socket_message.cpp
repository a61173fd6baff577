// What a peer may send: the rest of a message, in either byte order, and a server's side of signing in. A
// message that is read whole, and that can be sent, goes out and comes back the same.

#include "platform/loop/MainLoop.h"
#include "storage/memory/Handshake.h"

#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

class Peer : public storage::ByteChannel {
public:
    explicit Peer(std::string incoming) : incoming_(std::move(incoming)) { }
    bool send(const void* bytes, std::size_t count) override
    {
        sent.append(static_cast<const char*>(bytes), count);
        return true;
    }
    std::size_t receive(void* into, std::size_t count) override
    {
        const std::size_t taken = incoming_.copy(static_cast<char*>(into), count, at_);
        at_ += taken;
        return taken;
    }
    std::string sent;

private:
    std::string incoming_;
    std::size_t at_ = 0;
};

bool receive(Peer& peer, storage::MemoryContent& content)
{
    return storage::receiveVariables(
        peer, [&](const std::string& name, storage::MemoryValue value) { content[name] = std::move(value); });
}

std::string sentForm(const storage::MemoryContent& content)
{
    Peer peer("");
    storage::sendVariables(peer, content);
    return peer.sent;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    platform::MainLoop::main();
    const std::string text(reinterpret_cast<const char*>(bytes), size);
    Peer server(text);
    storage::shakeHands(server, storage::MagicCookie::parse("abc:def"));

    Peer sender(text);
    storage::MemoryContent content;
    if (!receive(sender, content) || !storage::fitsIntoAMessage(content))
        return 0;
    const std::string sent = sentForm(content);
    Peer again(sent);
    storage::MemoryContent returned;
    if (!receive(again, returned) || sentForm(returned) != sent)
        std::abort();
    return 0;
}
