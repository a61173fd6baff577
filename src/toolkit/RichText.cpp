#include "toolkit/RichText.h"

#include <utility>

namespace toolkit {

RichText::RichText(std::string plain)
{
    append({std::move(plain)});
}

void RichText::append(const Run& run)
{
    if (run.text.empty())
        return;
    if (!runs.empty() && runs.back().bold == run.bold && runs.back().italic == run.italic
        && runs.back().underlined == run.underlined)
        runs.back().text += run.text;
    else
        runs.push_back(run);
}

std::string RichText::plain() const
{
    std::string text;
    for (const Run& run : runs)
        text += run.text;
    return text;
}

} // namespace toolkit
