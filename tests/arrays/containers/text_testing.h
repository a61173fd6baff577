#pragma once

#include "arrays/containers/containers_testing.h"
#include "datafile/datafile_testing.h"

#include <cstdio>
#include <memory>
#include <string>

namespace containertest {

class TextFile {
public:
    explicit TextFile(const std::string& text) { svtest::store(path(), text); }
    std::string path() const { return folder_ / "text"; }

private:
    svtest::ScratchFolder folder_;
};

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
