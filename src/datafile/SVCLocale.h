#pragma once

#include <clocale>

// As long as it lives, this thread reads and writes numbers in the C locale: with a decimal point, whatever
// locale the program has set. The locale of other threads stays as it is.
class SVCLocale {
public:
    SVCLocale();
    ~SVCLocale();
    SVCLocale(const SVCLocale&) = delete;
    SVCLocale& operator=(const SVCLocale&) = delete;

private:
    locale_t before_;
};
