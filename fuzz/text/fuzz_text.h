#pragma once

#include "../datafile/fuzz_files.h"
#include "diagnostics/KRMessageCenter.h"

#include <cstdint>
#include <cstdlib>
#include <string>

// Shared by the fuzz targets of the text files.
namespace fuzz {

// Messages go to a center that is given up with each input.
class QuietMessages {
public:
    QuietMessages() { KRMessageCenter::setCenterOfThread(KRMessageCenter::create()); }
    ~QuietMessages() { KRMessageCenter::setCenterOfThread(nullptr); }
    QuietMessages(const QuietMessages&) = delete;
    QuietMessages& operator=(const QuietMessages&) = delete;
};

// The path of a file that holds these bytes.
inline std::string fileWith(const char* name, const std::uint8_t* bytes, std::size_t count)
{
    std::string path = pathOf(name);
    store(path, bytes, count);
    return path;
}

} // namespace fuzz
