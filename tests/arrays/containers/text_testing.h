#pragma once

#include "arrays/containers/containers_testing.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <unistd.h>

namespace containertest {

// A file that goes with the object.
class TextFile {
public:
    explicit TextFile(const std::string& text)
        : path_(std::filesystem::temp_directory_path()
            / ("text-" + std::to_string(::getpid()) + "-" + std::to_string(++count())))
    {
        std::ofstream(path_, std::ios::binary) << text;
    }
    ~TextFile() { std::filesystem::remove(path_); }
    TextFile(const TextFile&) = delete;
    TextFile& operator=(const TextFile&) = delete;
    std::string path() const { return path_.string(); }

private:
    static int& count()
    {
        static int files = 0;
        return files;
    }
    std::filesystem::path path_;
};

// A stream over a text.
struct CloseStream {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};
inline std::unique_ptr<std::FILE, CloseStream> streamOf(const std::string& text)
{
    std::FILE* const stream = std::tmpfile();
    std::fwrite(text.data(), 1, text.size(), stream);
    std::rewind(stream);
    return std::unique_ptr<std::FILE, CloseStream>(stream);
}

} // namespace containertest
