// Key files, key blobs, signatures and known hosts texts.

#include "ssh/crypto/PrivateKey.h"
#include "ssh/transport/KnownHosts.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace ssh;
    if (size < 1)
        return 0;
    const ByteView rest(data + 1, size - 1);
    switch (data[0] % 4) {
    case 0:
        (void)readKeyFile(textOf(rest));
        break;
    case 1: {
        // The body of a key file without its base64, so that the fuzzer needn't learn it.
        constexpr const char* kLabels[] = {"RSA", "DSA", "OPENSSH"};
        const std::string label = kLabels[data[0] / 4 % 3];
        (void)readKeyFile("-----BEGIN " + label + " PRIVATE KEY-----\n" + toBase64(rest) + "\n-----END "
            + label + " PRIVATE KEY-----\n");
        break;
    }
    case 2: {
        const std::size_t half = rest.size() / 2;
        const auto key = PublicKey::parse(rest);
        if (key.ok())
            for (const char* name : {"ssh-dss", "ssh-rsa", "ssh-ed25519", "ecdsa-sha2-nistp256"})
                (void)key->verify(*findSignature(name), rest.subspan(half), rest.first(half));
        break;
    }
    default:
        (void)lookUpHost(textOf(rest), "host", 22, rest.first(rest.size() / 2));
    }
    return 0;
}
