#pragma once

#include <QString>
#include <string>

inline QString toQt(const std::string& text)
{
    return QString::fromStdString(text);
}
