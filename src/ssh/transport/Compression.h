#pragma once

#include "platform/Result.h"
#include "ssh/crypto/Bytes.h"

#include <memory>

namespace ssh {

// The compression of RFC 4253, section 6.2: one zlib stream for each direction, flushed at the end of every
// packet.
class Deflater {
public:
    Deflater();
    ~Deflater();
    // Appends the parts to `out`, compressed as one payload. When data doesn't get smaller, it is sent
    // stored, and compression is tried again from time to time.
    Status compress(ByteView head, ByteView body, Bytes& out);

private:
    struct Stream;
    void adapt(std::size_t in, std::size_t out);
    void setLevel(Bytes& out, std::size_t& used);
    std::unique_ptr<Stream> stream_;
    std::size_t inSpan_ = 0; // Bytes in and out since adapt() last chose.
    std::size_t outSpan_ = 0;
    std::size_t storedSpans_ = 0; // Since compression was last tried.
    bool storing_ = false;
    bool levelChanges_ = false; // From the next packet on.
};

class Inflater {
public:
    Inflater();
    ~Inflater();
    // Appends the payload of one compressed packet. More than `limit` bytes is a failure.
    Status decompress(ByteView packet, std::size_t limit, Bytes& out);

private:
    struct Stream;
    std::unique_ptr<Stream> stream_;
};

} // namespace ssh
