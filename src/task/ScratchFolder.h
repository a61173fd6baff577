#pragma once

#include <string>

// The folder of this session's scratch files. It is made anew, with one empty file "Empty" in it, unless
// another session of the same user works in it: then the two share it. The system lets go of it when the
// process ends, however it ends.
class ScratchFolder {
public:
    explicit ScratchFolder(const std::string& path);
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

private:
    int descriptor_ = -1;
};
