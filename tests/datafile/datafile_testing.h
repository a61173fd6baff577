#pragma once

#include "arrays/sv/sv_testing.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace svtest {

// A folder that is removed after the test.
class ScratchFolder {
public:
    ScratchFolder()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "datafile-XXXXXX").string();
        path_ = mkdtemp(pattern.data());
    }
    ~ScratchFolder() { std::filesystem::remove_all(path_); }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

inline std::string contentOf(const std::string& path)
{
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

inline void store(const std::string& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

// Bytes in hexadecimal, blanks between them or not; a text in quotes stands for itself and a NUL.
inline std::string bytesOf(const std::string& notation)
{
    std::string bytes;
    std::size_t i = 0;
    while (i < notation.size()) {
        if (notation[i] == ' ' || notation[i] == '\n') {
            ++i;
        } else if (notation[i] == '\'') {
            const std::size_t end = notation.find('\'', i + 1);
            bytes += notation.substr(i + 1, end - i - 1) + '\0';
            i = end + 1;
        } else {
            bytes += static_cast<char>(std::stoi(notation.substr(i, 2), nullptr, 16));
            i += 2;
        }
    }
    return bytes;
}

// The bytes of the example of a format document: the lines of its block "hex", each with an offset, the bytes
// and, behind a bar, what they are.
inline std::string exampleOf(const std::string& document)
{
    std::ifstream lines(document);
    std::string hex;
    bool inside = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("```", 0) == 0)
            inside = line == "```hex";
        else if (inside)
            hex += line.substr(line.find(' '), line.find('|') - line.find(' '));
    }
    return bytesOf(hex);
}

template <class Number>
std::string raw(Number number)
{
    return {reinterpret_cast<const char*>(&number), sizeof number};
}

} // namespace svtest
