#include "ssh/transport/Compression.h"

#include <zlib.h>

#include <algorithm>

namespace ssh {

namespace {

// The fastest level saves most of the bytes already; with a higher one, the processor would be slower than
// the line.
constexpr int kLevel = 1;
constexpr std::size_t kSpan = std::size_t{256} * 1024;
constexpr std::size_t kSpansBetweenAttempts = 31;

} // namespace

struct Deflater::Stream : z_stream { };
struct Inflater::Stream : z_stream { };

Deflater::Deflater() : stream_(std::make_unique<Stream>())
{
    if (deflateInit(stream_.get(), kLevel) != Z_OK)
        stream_.reset();
}

Deflater::~Deflater()
{
    if (stream_)
        deflateEnd(stream_.get());
}

void Deflater::adapt(std::size_t in, std::size_t out)
{
    inSpan_ += in;
    outSpan_ += out;
    if (inSpan_ < kSpan)
        return;
    const bool store = storing_ ? ++storedSpans_ < kSpansBetweenAttempts : outSpan_ > inSpan_ - inSpan_ / 16;
    inSpan_ = outSpan_ = 0;
    if (store == storing_)
        return;
    storing_ = store;
    storedSpans_ = 0;
    levelChanges_ = true;
}

void Deflater::setLevel(Bytes& out, std::size_t& used)
{
    levelChanges_ = false;
    stream_->next_in = nullptr;
    stream_->avail_in = 0;
    stream_->next_out = out.data() + used;
    stream_->avail_out = static_cast<uInt>(out.size() - used);
    deflateParams(stream_.get(), storing_ ? Z_NO_COMPRESSION : kLevel, Z_DEFAULT_STRATEGY);
    used = out.size() - stream_->avail_out;
}

Status Deflater::compress(ByteView head, ByteView body, Bytes& out)
{
    if (!stream_)
        return Error{"Compression could not be set up."};
    const std::size_t before = out.size();
    std::size_t used = before;
    // deflateBound doesn't count the flush, nor a stored block that is still to be written.
    out.resize(before + deflateBound(stream_.get(), static_cast<uLong>(head.size() + body.size())) + 64);
    if (levelChanges_)
        setLevel(out, used);
    const ByteView parts[] = {head, body};
    for (const ByteView& part : parts) {
        const bool last = &part == &parts[1];
        stream_->next_in = const_cast<Bytef*>(part.data());
        stream_->avail_in = static_cast<uInt>(part.size());
        do {
            if (used == out.size())
                out.resize(out.size() + 4096);
            stream_->next_out = out.data() + used;
            stream_->avail_out = static_cast<uInt>(out.size() - used);
            const int result = deflate(stream_.get(), last ? Z_PARTIAL_FLUSH : Z_NO_FLUSH);
            used = out.size() - stream_->avail_out;
            if (result != Z_OK && result != Z_BUF_ERROR)
                return Error{"Compressing a packet failed."};
        } while (stream_->avail_in || stream_->avail_out == 0);
    }
    out.resize(used);
    adapt(head.size() + body.size(), used - before);
    return {};
}

Inflater::Inflater() : stream_(std::make_unique<Stream>())
{
    if (inflateInit(stream_.get()) != Z_OK)
        stream_.reset();
}

Inflater::~Inflater()
{
    if (stream_)
        inflateEnd(stream_.get());
}

Status Inflater::decompress(ByteView packet, std::size_t limit, Bytes& out)
{
    if (!stream_)
        return Error{"Decompression could not be set up."};
    const std::size_t before = out.size();
    std::size_t used = before;
    stream_->next_in = const_cast<Bytef*>(packet.data());
    stream_->avail_in = static_cast<uInt>(packet.size());
    for (;;) {
        if (used - before > limit)
            return Error{"A compressed packet unpacks to more than a packet may hold."};
        if (used == out.size())
            out.resize(std::max(used + 4096, std::min(before + packet.size() * 4, before + limit)));
        stream_->next_out = out.data() + used;
        stream_->avail_out = static_cast<uInt>(out.size() - used);
        const int result = inflate(stream_.get(), Z_SYNC_FLUSH);
        used = out.size() - stream_->avail_out;
        // Z_BUF_ERROR: the packet holds nothing more.
        if (result == Z_BUF_ERROR || (result == Z_OK && stream_->avail_out))
            break;
        if (result != Z_OK)
            return Error{"A compressed packet is damaged."};
    }
    if (stream_->avail_in)
        return Error{"A compressed packet is damaged."};
    out.resize(used);
    return used - before > limit
        ? Status(Error{"A compressed packet unpacks to more than a packet may hold."})
        : Status();
}

} // namespace ssh
