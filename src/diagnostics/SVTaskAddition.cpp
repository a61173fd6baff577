#include "diagnostics/SVTaskAddition.h"

#include <fmt/format.h>

void SVTaskAdditionToProgressBar::updateSVProgress(double amount)
{
    bar_.setDoubleValue(bar_.doubleValue() + amount);
}

void SVTaskAdditionToTextView::updateSVProgress(double amount)
{
    view_.setString(fmt::format("{:g}", amount));
}

void SVTaskAdditionToTextView::updateSVProgress(const std::string& text)
{
    view_.setString(text);
}
