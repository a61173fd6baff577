#include "toolkit/Words.h"

namespace toolkit {

namespace {

Translator& translator()
{
    static Translator installed;
    return installed;
}

} // namespace

void setTranslator(Translator installed)
{
    translator() = std::move(installed);
}

std::string words(const char* english)
{
    return translator() ? translator()(english) : english;
}

} // namespace toolkit
