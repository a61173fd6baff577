// Messages of the transport layer up to the first keys, each in a well-formed packet: the first byte of the
// input chooses the key exchange that the server wants, the rest is what it sends.

#include "ssh/Payloads.h"

#include "ssh/session/SshProtocol.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace ssh;
    if (size < 1)
        return 0;
    SshProtocol protocol(
        {"SSH-2.0-Fuzz", {}, [](const PublicKey&) { return Status(); }, [](const std::string&) {}});
    PacketCodec server;
    server.output().append(viewOf("SSH-2.0-Server\r\n"));
    AlgorithmOffer offer = offerFor({}, "");
    // With the highest bit, the payloads hold the server's first message as well.
    if (data[0] < 0x80) {
        offer.keyExchange = {offer.keyExchange[data[0] % 11]};
        (void)server.seal(buildKexInit(offer));
    }
    for (const ByteView payload : splitPayloads({data + 1, size - 1})) {
        (void)server.seal(payload);
        protocol.incoming().append(server.output().view());
        server.output().clear();
        if (!protocol.process().ok() || !protocol.idleWork().ok())
            return 0;
    }
    return 0;
}
