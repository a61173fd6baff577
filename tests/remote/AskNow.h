#pragma once

#include "remote/machines/SignInAnswers.h"

namespace support {

// Asks the questions that the last attempt has left, of a hook that answers at once. Whether all are
// answered.
inline bool askNow(const std::string& login)
{
    bool areAnswered = false;
    SignInAnswers::shared().ask(login, [&areAnswered](bool all) { areAnswered = all; });
    return areAnswered;
}

} // namespace support
