#include "apps/console/cluster/MachineName.h"

#include "apps/console/MessagePrinter.h"
#include "apps/console/cluster/SignInOnTerminal.h"
#include "platform/loop/MainLoop.h"
#include "remote/machines/MachineFolder.h"

#include <fmt/format.h>

std::optional<MachineName> MachineName::parse(const std::string& text)
{
    const std::size_t at = text.find('@');
    const std::size_t colon = at == text.npos ? text.npos : text.find(':', at);
    MachineName name;
    if (at != text.npos) {
        name.user = text.substr(0, at);
        name.host = text.substr(at + 1, colon == text.npos ? text.npos : colon - at - 1);
        name.queue = colon == text.npos ? "" : text.substr(colon + 1);
    }
    if (!name.user.empty() && !name.host.empty())
        return name;
    complain(fmt::format("\"{}\" does not name a machine: write USER@HOST.", text));
    return std::nullopt;
}

std::shared_ptr<KRTrelkindMachineLSF> machineNamed(
    KRTrelkindApplication& application, const MachineName& name)
{
    for (const auto& machine : application.remoteMachines())
        if (auto cluster = std::dynamic_pointer_cast<KRTrelkindMachineLSF>(machine);
            cluster && cluster->userName() == name.user && cluster->machineName() == name.host)
            return cluster;
    return nullptr;
}

std::shared_ptr<KRTrelkindMachineLSF> knownMachine(
    KRTrelkindApplication& application, const MachineName& name)
{
    auto machine = machineNamed(application, name);
    if (!machine)
        complain(fmt::format(
            "There is no machine {0} in the list. \"trelkind machines add {0}\" adds it.", name.text()));
    return machine;
}

std::string checkMachine(KRTrelkindMachineLSF& machine)
{
    signInWithAnswers(*machine.passwordInfo(), [&machine] {
        machine.checkConnectivity();
        platform::MainLoop::main().runUntil([&] { return !machine.isBeingChecked(); });
        return machine.form().errorField.stringValue() == machinefolder::kWorked;
    });
    return machine.form().errorField.stringValue();
}
