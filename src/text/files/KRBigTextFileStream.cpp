#include "text/files/KRBigTextFileStream.h"

#include "diagnostics/KRMessageCenter.h"
#include "text/files/LineText.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace {

// The first line feed or carriage return from a position on; npos without one.
std::size_t endOfLine(std::string_view text, std::size_t from)
{
    const auto find = [](std::string_view in, char byte) {
        const void* found = in.empty() ? nullptr : std::memchr(in.data(), byte, in.size());
        return found ? static_cast<std::size_t>(static_cast<const char*>(found) - in.data())
                     : std::string_view::npos;
    };
    constexpr std::size_t kWindow = 1024; // A far line end of one kind must not cost a search for each line.
    for (std::size_t at = from; at < text.size(); at += kWindow) {
        const std::string_view part = text.substr(at, kWindow);
        const std::size_t feed = find(part, '\n');
        const std::size_t carriage = find(part.substr(0, feed), '\r');
        if (const std::size_t first = std::min(feed, carriage); first != std::string_view::npos)
            return at + first;
    }
    return std::string_view::npos;
}

// "%20" becomes a blank; what is no escape stays.
std::string decoded(std::string_view text)
{
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        unsigned byte = 0;
        const char* const digits = text.data() + i + 1;
        const bool isEscape = text[i] == '%' && text.size() - i > 2
            && std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2;
        bytes += isEscape ? static_cast<char>(byte) : text[i];
        i += isEscape ? 2 : 0;
    }
    return bytes;
}

// The path of a file URL; any other text is a path already. Nothing for a file of another machine.
std::optional<std::string> pathOf(std::string_view url)
{
    constexpr std::string_view kScheme = "file://";
    constexpr std::string_view kThisMachine = "localhost";
    if (!url.starts_with(kScheme))
        return std::string(url);
    url.remove_prefix(kScheme.size());
    if (url.starts_with(kThisMachine))
        url.remove_prefix(kThisMachine.size());
    std::string path = decoded(url);
    const bool isPath = path.starts_with('/') && path.find('\0') == std::string::npos;
    return isPath ? std::optional(std::move(path)) : std::nullopt;
}

} // namespace

std::unique_ptr<KRBigTextFileStream> KRBigTextFileStream::createWithURL(const std::string& url)
{
    const auto path = pathOf(url);
    if (!path)
        return nullptr;
    auto input = TextInput::open(*path);
    if (!input)
        return nullptr;
    std::unique_ptr<KRBigTextFileStream> stream(new KRBigTextFileStream);
    stream->input_ = std::make_unique<TextInput>(std::move(*input));
    return stream;
}

std::unique_ptr<KRBigTextFileStream> KRBigTextFileStream::createWithUTF8(std::string text)
{
    std::unique_ptr<KRBigTextFileStream> stream(new KRBigTextFileStream);
    stream->isInMemory_ = true;
    stream->buffer_ = std::move(text);
    return stream;
}

void KRBigTextFileStream::setReadLock(std::shared_ptr<std::mutex> lock)
{
    if (input_)
        input_->setReadLock(std::move(lock));
}

std::shared_ptr<const KRUTF8String> KRBigTextFileStream::lineNumber(std::int64_t number)
{
    if (number == cachedLineNumber_ && cachedLine_)
        return cachedLine_;
    if (number < currentLineNumber_) {
        KRMessageCenter::addMessage("Can only go forward (line)");
        return nullptr;
    }
    skipNumberOfLines(number - currentLineNumber_);
    if (!findLine())
        return nullptr;
    cachedLineNumber_ = number;
    cachedLine_ = KRUTF8String::createWithString(currentLine());
    return cachedLine_;
}

std::optional<std::string> KRBigTextFileStream::groupOfLines(std::int64_t start, std::int64_t count)
{
    if (start < currentLineNumber_) {
        KRMessageCenter::addMessage("Can only go forward (group)");
        return std::nullopt;
    }
    skipNumberOfLines(start - currentLineNumber_);
    std::string text;
    for (std::int64_t i = 0; i < count && findLine(); ++i) {
        if (i > 0)
            text += '\n';
        text += currentLine();
        goOn();
    }
    return text;
}

void KRBigTextFileStream::skipNumberOfLines(std::int64_t count)
{
    if (count < 0) {
        KRMessageCenter::addMessage("Can only go forward (skip)");
        return;
    }
    for (; count > 0 && findLine(); --count)
        goOn();
}

bool KRBigTextFileStream::searchForNextMatch(std::string_view text, bool atBeginning)
{
    for (; findLine(); goOn()) {
        const std::string_view line = currentLine();
        if (atBeginning ? line.starts_with(text) : line.find(text) != std::string_view::npos)
            return true;
    }
    return false;
}

std::int64_t KRBigTextFileStream::fileLength() const
{
    return static_cast<std::int64_t>(input_ ? input_->fileLength() : buffer_.size());
}

std::int64_t KRBigTextFileStream::currentOffset() const
{
    const bool isDirect = !input_ || input_->isDirect();
    return isDirect ? currentOffsetInUncompressed() : static_cast<std::int64_t>(input_->bytesRead());
}

bool KRBigTextFileStream::findLine()
{
    if (knowsLine_)
        return true;
    std::size_t seen = 0; // Bytes of the line that have been looked at.
    while (true) {
        const std::size_t end = endOfLine(buffer_, startOfLine_ + seen);
        const bool isFound = end != std::string::npos;
        // A CR at the end of the buffer may be half of a CR LF.
        if (isFound && (buffer_[end] == '\n' || end + 1 < buffer_.size())) {
            const bool isPair = buffer_.compare(end, 2, "\r\n") == 0;
            takeLine(end, end + (isPair ? 2 : 1));
            return true;
        }
        seen = (isFound ? end : buffer_.size()) - startOfLine_;
        if (refill()) {
            seen = std::min(seen, kLongestLine);
            continue;
        }
        if (startOfLine_ == buffer_.size())
            return false;
        takeLine(startOfLine_ + seen, buffer_.size()); // Refilling has moved the line.
        return true;
    }
}

// More of the text behind the current line, which is moved to the front.
bool KRBigTextFileStream::refill()
{
    if (!input_)
        return false;
    overallStartOfBuffer_ += static_cast<std::int64_t>(startOfLine_);
    buffer_.erase(0, startOfLine_);
    startOfLine_ = 0;
    if (buffer_.size() > kLongestLine && buffer_.back() != '\r') {
        dropped_ += static_cast<std::int64_t>(buffer_.size() - kLongestLine);
        buffer_.resize(kLongestLine);
    }
    return input_->readMore(buffer_);
}

void KRBigTextFileStream::takeLine(std::size_t end, std::size_t next)
{
    knowsLine_ = true;
    nextLine_ = next;
    lengthOfLine_ = end - startOfLine_;
    if (lengthOfLine_ <= kLongestLine && dropped_ == 0)
        return;
    lengthOfLine_ = std::min(lengthOfLine_, kLongestLine);
    lengthOfLine_ -= tornAtEnd(currentLine());
}

void KRBigTextFileStream::goOn()
{
    overallStartOfBuffer_ += std::exchange(dropped_, 0);
    startOfLine_ = nextLine_;
    knowsLine_ = false;
    ++currentLineNumber_;
}
