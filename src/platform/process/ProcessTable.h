#pragma once

#include "platform/files/Descriptor.h"

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace platform {

// A launched program gets a mark of its own in this environment variable. All processes that it starts
// inherit it, and are found by it after they have left the group and lost their parents. A run inside of
// another run has the marks of both.
constexpr const char* kMarkVariable = "TRELKIND_RUNS";
constexpr char kMarkSeparator = ':';

// The processes of this machine at one moment, as /proc shows them. Any thread.
class ProcessTable {
public:
    struct Entry {
        pid_t process = 0;
        pid_t parent = 0;
        pid_t group = 0;
        std::uint64_t startTime = 0; // Clock ticks since boot. Unique together with the number.
        bool isDead = false; // A zombie.
    };

    static std::optional<ProcessTable> read(); // Nothing where /proc can't be read.
    static std::optional<Entry> find(pid_t); // A single one, without reading the others.

    // Living members of the group.
    std::vector<Entry> membersOf(pid_t group) const;
    // Living processes outside of the group that the group's members, or the further roots, started directly
    // or through others.
    std::vector<Entry> descendantsOutside(pid_t group, const std::vector<pid_t>& furtherRoots) const;
    // Living processes outside of the group, started at that time or later, that have the mark. Processes
    // that overwrote their environment, or belong to another user, are not found. Reads a file for each
    // process.
    std::vector<Entry> markedOutside(pid_t group, std::uint64_t startTime, const std::string& mark) const;

private:
    std::vector<Entry> entries_;
};

// Readable when the process has ended; empty where there is none, or the kernel (before 5.3) can't do this.
Descriptor openProcess(pid_t);

// One certain process, never a later one with the same number.
class KnownProcess {
public:
    static std::optional<KnownProcess> find(const ProcessTable::Entry&); // Nothing when it is gone.

    pid_t number() const { return number_; }
    bool isAlive() const;
    void signal(int signalNumber) const;

private:
    KnownProcess(pid_t number, Descriptor descriptor)
        : number_(number), descriptor_(std::move(descriptor)) { }
    pid_t number_;
    Descriptor descriptor_;
};

} // namespace platform
