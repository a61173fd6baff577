#pragma once

#include "toolkit/View.h"

#include <optional>
#include <string>

namespace toolkit {

class TextField : public View {
public:
    std::string stringValue;
    bool isEditable = true;
    int integerValue() const; // The leading whole number of the text; 0 when there is none.
};

// A longer text. A rich text package is kept as it was read: an opaque document with a plain rendering.
class TextView : public View {
public:
    std::string string;
};

class Button : public View {
public:
    std::string title;
    bool isEnabled = true;
    int state = 0; // 0 off, 1 on.
};

class ProgressBar : public View {
public:
    double minimum = 0;
    double maximum = 100;
    double doubleValue = 0;
    bool isIndeterminate = false;
    bool isAnimating = false;
};

class TabView : public View {
public:
    std::string selectedIdentifier;
};

} // namespace toolkit
