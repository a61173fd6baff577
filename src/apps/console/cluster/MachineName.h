#pragma once

#include "remote/machines/KRTrelkindMachineLSF.h"
#include "task/application/KRTrelkindApplication.h"

#include <memory>
#include <optional>
#include <string>

// A machine as the command line names it: USER@HOST, with :QUEUE where one may be named.
struct MachineName {
    std::string user;
    std::string host;
    std::string queue; // Empty without one.

    std::string text() const { return user + "@" + host; }
    // Nothing for what has not this form; the reason is already printed.
    static std::optional<MachineName> parse(const std::string& text);
};

// The machine of the list with this user and host; null when there is none.
std::shared_ptr<KRTrelkindMachineLSF> machineNamed(
    KRTrelkindApplication& application, const MachineName& name);
// The same, and prints how to add one when there is none.
std::shared_ptr<KRTrelkindMachineLSF> knownMachine(
    KRTrelkindApplication& application, const MachineName& name);

// Checks a machine as its form does, and waits for the words of the result.
std::string checkMachine(KRTrelkindMachineLSF& machine);
