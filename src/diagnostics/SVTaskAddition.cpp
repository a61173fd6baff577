#include "diagnostics/SVTaskAddition.h"

#include <fmt/format.h>

void SVTaskAdditionToProgressBar::updateSVProgress(double amount)
{
    bar_.doubleValue += amount;
}

void SVTaskAdditionToTextView::updateSVProgress(double amount)
{
    view_.string = fmt::format("{:g}", amount);
}

void SVTaskAdditionToTextView::updateSVProgress(const std::string& text)
{
    view_.string = text;
}
