#pragma once

#include "platform/Result.h"
#include "platform/files/File.h"
#include "text/files/TextConverter.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

struct z_stream_s;

// The bytes of a text file from its start on, decompressed if its name ends with "gz" (gzip or zlib, also of
// several members) and turned into UTF-8 if it begins with a byte order mark of UTF-16. What is torn or
// damaged ends the text where it stands. Memory is bounded, however much a file decompresses to. One thread
// at a time.
class TextInput {
public:
    static platform::Result<TextInput> open(const std::string& path);

    // Appends a piece of the text; false at its end.
    bool readMore(std::string& text);
    // Held during each reading of the file. Null for none.
    void setReadLock(std::shared_ptr<std::mutex> lock) { readLock_ = std::move(lock); }

    std::uint64_t fileLength() const { return fileLength_; } // When it was opened.
    std::uint64_t bytesRead() const { return bytesRead_; } // Of the file as it lies on disk.
    bool isDirect() const { return !inflater_ && !converter_; } // Neither compressed nor converted.

private:
    struct EndInflate {
        void operator()(z_stream_s* stream) const;
    };
    explicit TextInput(platform::File file) : file_(std::move(file)) { }
    bool startInflating();
    std::string readFile();
    std::string nextBytes();
    std::string inflated();
    void takeByteOrderMark(std::string& bytes);

    platform::File file_;
    std::shared_ptr<std::mutex> readLock_;
    std::uint64_t fileLength_ = 0;
    std::uint64_t bytesRead_ = 0;
    std::size_t pieceSize_ = 0;
    std::unique_ptr<z_stream_s, EndInflate> inflater_;
    std::string compressed_; // What the inflater's input points into.
    std::optional<TextConverter> converter_;
    std::string unconverted_; // A character that was torn at the end of a piece.
    bool isBehindFirstBytes_ = false;
    bool isDamaged_ = false; // The compressed data don't go on.
    bool isAtEnd_ = false;
};
