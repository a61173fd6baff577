#pragma once

#include "diagnostics/KRProgressEntry.h"

#include <memory>

// Progress for computational code, as a value: a routine that reports 0 to 1 can serve as the part between
// two marks of a larger job. Without an entry reports are ignored and nobody has aborted.
class KRProgressCPP {
public:
    KRProgressCPP() = default;
    explicit KRProgressCPP(std::shared_ptr<KRProgressEntry> entry, float start = 0, float end = 1)
        : entry_(std::move(entry)), start_(start), end_(end)
    { }

    void UpdatePercentage(float f) const
    {
        if (entry_)
            entry_->updatePercentage(start_ + f * (end_ - start_));
    }
    bool UserHasAborted() const { return entry_ && entry_->userHasAborted(); }

private:
    std::shared_ptr<KRProgressEntry> entry_;
    float start_ = 0;
    float end_ = 1;
};
