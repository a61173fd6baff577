#pragma once

#include "platform/files/FileManager.h"

#include <cstdlib>
#include <string>
#include <tuple>

// A folder of a test's own, gone with it.
class TemporaryFolder {
public:
    TemporaryFolder()
    {
        std::string pattern = "/tmp/trelkind-test-XXXXXX";
        if (const char* made = mkdtemp(pattern.data()))
            path_ = made;
    }
    ~TemporaryFolder() { std::ignore = platform::files::remove(path_); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};
