// The raw bytes of a server, from the version line on.

#include "ssh/session/SshProtocol.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace ssh;
    SshProtocol protocol(
        {"SSH-2.0-Fuzz", {}, [](const PublicKey&) { return Status(); }, [](const std::string&) {}});
    (void)protocol.start();
    // In two pieces, so that what isn't complete is looked at as well.
    const std::size_t half = size / 2;
    for (const ByteView piece : {ByteView(data, half), ByteView(data + half, size - half)}) {
        protocol.incoming().append(piece);
        if (!protocol.process().ok() || !protocol.idleWork().ok())
            return 0;
    }
    return 0;
}
