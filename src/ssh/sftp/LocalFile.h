#pragma once

#include "platform/Result.h"
#include "ssh/crypto/Bytes.h"

#include <cstdint>
#include <string>

namespace ssh {

// A file of this machine as a transfer uses it, closed at the end. Failures name the path and the reason.
class LocalFile {
public:
    enum class Mode { Read, Replace, Append };
    static Result<LocalFile> open(const std::string& path, Mode mode);
    LocalFile(LocalFile&& other) noexcept : path_(std::move(other.path_)), descriptor_(other.descriptor_)
    {
        other.descriptor_ = -1;
    }
    LocalFile& operator=(LocalFile&&) = delete;
    ~LocalFile();

    Result<std::uint64_t> size() const; // Bytes.
    Status seek(std::uint64_t offset);
    Result<std::size_t> read(std::span<std::uint8_t> into); // 0 at the end.
    Status write(ByteView bytes); // All of them.
    Status close(); // Tells whether everything written has been taken.

private:
    LocalFile(std::string path, int descriptor) : path_(std::move(path)), descriptor_(descriptor) { }
    Error failure(const char* what) const;

    std::string path_;
    int descriptor_;
};

} // namespace ssh
