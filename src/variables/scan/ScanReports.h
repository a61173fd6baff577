#pragma once

#include "diagnostics/KRMessageCenter.h"

#include <set>
#include <string>
#include <utility>

// The faults that scans of one file have reported. A file that grows is scanned again and again: each kind of
// fault of a variable is told once. One thread at a time.
class ScanReports {
public:
    enum class Fault { Type, Structure, TimeArraySize, TimeArrayOrder, TimeOrder, TimesMissing };

    void report(Fault fault, const std::string& variable, const MessageText& text,
        const MessageText& longVersion = nullptr)
    {
        if (reported_.emplace(fault, variable).second)
            KRMessageCenter::addMessage(text, longVersion);
    }

private:
    std::set<std::pair<Fault, std::string>> reported_;
};
