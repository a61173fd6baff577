#pragma once

#include "platform/plist/Value.h"

#include <string>

// A property list of a wrapper that is to be a dictionary. One that is missing is empty; one that can't be
// read, or is something else, is empty too, was reported, and must not be written over.
struct WrapperList {
    platform::Value dictionary{platform::Value::Dictionary()};
    bool isUnreadable = false;

    static WrapperList read(const std::string& path);
};

// Whether a name stands for a file of its folder and for nothing outside of it.
bool isBareFileName(const std::string& name);
