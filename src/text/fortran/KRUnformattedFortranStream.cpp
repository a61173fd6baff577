#include "text/fortran/KRUnformattedFortranStream.h"

#include "diagnostics/KRMessageCenter.h"

void KRUnformattedFortranStream::errorMessage(const std::string& text)
{
    error_ = true;
    KRMessageCenter::addMessage(text);
}

void KRUnformattedFortranStream::errorMessage(const std::string& text, const std::string& longDescription)
{
    error_ = true;
    KRMessageCenter::addMessage(text, longDescription);
}
