#pragma once

#include "toolkit/Controls.h"

#include <string>

// Where a copy operation reports its progress, whatever the view: a bar grows by the reported amount, a text
// view shows the reported text. Main thread.
class SVTaskAddition {
public:
    virtual ~SVTaskAddition() = default;
    virtual void updateSVProgress(double amount) = 0;
};

class SVTaskAdditionToProgressBar : public SVTaskAddition {
public:
    explicit SVTaskAdditionToProgressBar(toolkit::ProgressBar& bar) : bar_(bar) { }
    void updateSVProgress(double amount) override;

private:
    toolkit::ProgressBar& bar_; // Must outlive this.
};

class SVTaskAdditionToTextView : public SVTaskAddition {
public:
    explicit SVTaskAdditionToTextView(toolkit::TextView& view) : view_(view) { }
    void updateSVProgress(double amount) override;
    void updateSVProgress(const std::string& text);

private:
    toolkit::TextView& view_; // Must outlive this.
};
