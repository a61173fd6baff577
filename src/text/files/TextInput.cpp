#include "text/files/TextInput.h"

#include "platform/files/Paths.h"

#include <algorithm>
#include <utility>
#include <zlib.h>

namespace {

constexpr std::uint64_t kLargeFile = 3000000; // Bytes.
constexpr std::uint64_t kPieceOfLargeFile = 400000;
constexpr std::uint64_t kPiece = 200000;
constexpr std::uint64_t kSmallestWhenCompressed = 100000;
constexpr int kGzipOrZlib = 47; // The largest window, and either header.

} // namespace

void TextInput::EndInflate::operator()(z_stream_s* stream) const
{
    inflateEnd(stream);
    delete stream;
}

platform::Result<TextInput> TextInput::open(const std::string& path)
{
    auto file = platform::File::open(path, platform::File::Mode::ReadRegular);
    if (!file)
        return file.error();
    TextInput input(std::move(*file));
    const auto length = input.file_.size();
    if (!length)
        return length.error();
    input.fileLength_ = *length;
    std::uint64_t piece = *length > kLargeFile ? kPieceOfLargeFile : std::min(*length + 30, kPiece);
    if (platform::paths::lowercaseExtension(path) == "gz") {
        if (piece < kSmallestWhenCompressed)
            piece *= 2;
        if (!input.startInflating())
            return platform::Error{path + " can't be decompressed: out of memory"};
    }
    input.pieceSize_ = piece;
    return input;
}

bool TextInput::startInflating()
{
    auto stream = std::make_unique<z_stream>();
    if (inflateInit2(stream.get(), kGzipOrZlib) != Z_OK)
        return false;
    inflater_.reset(stream.release());
    return true;
}

bool TextInput::readMore(std::string& text)
{
    const std::size_t before = text.size();
    while (!isAtEnd_ && text.size() == before) {
        std::string bytes = nextBytes();
        if (bytes.empty()) {
            isAtEnd_ = true;
        } else {
            if (!std::exchange(isBehindFirstBytes_, true))
                takeByteOrderMark(bytes);
            if (converter_) {
                unconverted_ += bytes;
                unconverted_.erase(0, converter_->convert(unconverted_, text));
            } else {
                text += bytes;
            }
        }
    }
    return text.size() > before;
}

std::string TextInput::readFile()
{
    std::string bytes(pieceSize_, '\0');
    const auto guard = readLock_ ? std::unique_lock(*readLock_) : std::unique_lock<std::mutex>();
    const auto count = file_.read({reinterpret_cast<std::uint8_t*>(bytes.data()), bytes.size()});
    bytes.resize(count.value_or(0));
    bytesRead_ += bytes.size();
    return bytes;
}

// What comes next, decompressed; empty at the end. Two bytes at least at the start, if there are two, since a
// byte order mark has two.
std::string TextInput::nextBytes()
{
    constexpr std::size_t kMarkSize = 2;
    std::string bytes = inflater_ ? inflated() : readFile();
    while (!isBehindFirstBytes_ && !bytes.empty() && bytes.size() < kMarkSize) {
        const std::string more = inflater_ ? inflated() : readFile();
        if (more.empty())
            break;
        bytes += more;
    }
    return bytes;
}

std::string TextInput::inflated()
{
    if (isDamaged_)
        return {};
    z_stream& stream = *inflater_;
    std::string bytes(pieceSize_, '\0');
    stream.next_out = reinterpret_cast<Bytef*>(bytes.data());
    stream.avail_out = static_cast<uInt>(bytes.size());
    while (stream.avail_out == bytes.size()) {
        if (stream.avail_in == 0) {
            compressed_ = readFile();
            stream.next_in = reinterpret_cast<Bytef*>(compressed_.data());
            stream.avail_in = static_cast<uInt>(compressed_.size());
            if (compressed_.empty())
                break;
        }
        const int result = inflate(&stream, Z_NO_FLUSH);
        // Members that follow each other read as one text.
        if (result == Z_STREAM_END ? inflateReset(&stream) != Z_OK : result != Z_OK) {
            isDamaged_ = true;
            break;
        }
    }
    bytes.resize(bytes.size() - stream.avail_out);
    return bytes;
}

void TextInput::takeByteOrderMark(std::string& bytes)
{
    const bool isLittle = bytes.starts_with("\xff\xfe");
    if (!isLittle && !bytes.starts_with("\xfe\xff"))
        return;
    auto converter = TextConverter::open(isLittle ? "UTF-16LE" : "UTF-16BE");
    if (!converter)
        return;
    converter_ = std::move(*converter);
    bytes.erase(0, 2);
}
