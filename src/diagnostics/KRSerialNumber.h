#pragma once

#include <cstdint>
#include <mutex>

// The process's source of unique numbers, counting from 1. Any thread.
class KRSerialNumber {
public:
    // Makes the process-wide source unless it exists; called first at the program's start.
    static void configure();
    // The next number of the process-wide source.
    static std::int64_t createNew();

    std::int64_t uniqueNumber() { return uniqueInteger(); }
    std::int64_t uniqueInteger();

private:
    std::mutex counterLock_;
    std::int64_t nextNumber_ = 1;
};
