#include "text/numbers/KRNumberFormatterNSWrapper.h"

#include "text/numbers/UsersLocale.h"

#include <cmath>
#include <iomanip>
#include <sstream>

namespace {

std::string inUsersDecimalStyle(double number)
{
    constexpr int kDecimals = 3;
    std::ostringstream stream;
    stream.imbue(usersLocale());
    stream << std::fixed << std::setprecision(kDecimals) << number;
    std::string text = stream.str();
    while (text.back() == '0')
        text.pop_back();
    if (text.back() < '0' || text.back() > '9')
        text.pop_back();
    return text == "-0" ? "0" : text;
}

} // namespace

std::shared_ptr<KRNumberFormatterNSWrapper> KRNumberFormatterNSWrapper::create(Formatter formatter)
{
    if (!formatter)
        return nullptr;
    return std::shared_ptr<KRNumberFormatterNSWrapper>(new KRNumberFormatterNSWrapper(std::move(formatter)));
}

std::shared_ptr<KRNumberFormatterNSWrapper> KRNumberFormatterNSWrapper::createForUsersLocale()
{
    return create(inUsersDecimalStyle);
}

void KRNumberFormatterNSWrapper::appendAny(double number, std::string& text) const
{
    if (std::isfinite(number))
        text += formatter_(number);
    else
        KRNumberFormatterBase::appendAny(number, text);
}
