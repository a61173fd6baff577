#pragma once

#include <csignal>
#include <sys/resource.h>

// While it lives no file may grow beyond the limit, which looks to the writer as a full disk does.
class FullDisk {
public:
    explicit FullDisk(rlim_t bytes)
    {
        signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &former_);
        const rlimit limited{bytes, former_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limited);
    }
    ~FullDisk()
    {
        setrlimit(RLIMIT_FSIZE, &former_);
        signal(SIGXFSZ, SIG_DFL);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit former_{};
};
