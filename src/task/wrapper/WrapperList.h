#pragma once

#include "platform/plist/Value.h"

#include <string>

// A property list of a wrapper whose root must be a dictionary. A missing file gives an empty dictionary. A
// file that can't be read or has another root gives an empty dictionary, too; it is reported and must not be
// overwritten.
struct WrapperList {
    platform::Value dictionary{platform::Value::Dictionary()};
    bool isUnreadable = false;

    static WrapperList read(const std::string& path);
};

// Whether a name is that of a file directly in its folder.
bool isBareFileName(const std::string& name);
