#include "apps/console/OpenWrapper.h"
#include "apps/console/Question.h"
#include "apps/console/TablePrinter.h"
#include "apps/console/Terminal.h"
#include "apps/console/TerminalText.h"
#include "apps/console/Verbs.h"
#include "apps/console/cluster/MachineName.h"
#include "apps/console/cluster/SignInOnTerminal.h"
#include "task/runs/RunTimes.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <unistd.h>

namespace {

// The application with its machine list, and without a wrapper.
struct MachineList {
    MessagePrinter messages;
    KRTrelkindApplication application;
    MachineList() { application.awakeFromNib(); }
};

bool tell(const std::string& sentence)
{
    return terminal::write(terminal::printable(sentence) + "\n");
}

int list(bool asJson)
{
    MachineList machines;
    auto json = nlohmann::ordered_json::array();
    bool told = true;
    for (const auto& machine : machines.application.remoteMachines()) {
        const platform::Value stored = machine->propertyList();
        const auto text = [&stored](const char* key) { return stored.textFor(key).value_or(""); };
        json.push_back({{"Machine", machine->machineDescription()}, {"User Name", text("User Name")},
            {"Machine Name", text("Machine Name")}, {"Queue", text("Queue")}, {"Type", text("Type")}});
        const auto queues = machine->queuNames().value_or(std::vector<std::string>());
        if (!asJson)
            told = tell(fmt::format("{}{}", machine->machineDescription(),
                       queues.empty() ? "" : fmt::format("  queues: {}", fmt::join(queues, ", "))))
                && told;
    }
    if (asJson)
        told = writeJson(json);
    else if (json.empty())
        told = tell("There are no machines. \"trelkind machines add USER@HOST\" adds one.");
    return told ? kDone : kNotDone;
}

int add(const MachineName& name, const MachinesOptions& options)
{
    MachineList machines;
    if (machineNamed(machines.application, name)) {
        complain(fmt::format("{} is in the list already.", name.text()));
        return kNotDone;
    }
    const std::size_t before = machines.application.remoteMachines().size();
    machines.application.addLSFMachine(false);
    const auto list = machines.application.remoteMachines();
    if (list.size() == before)
        return kNotDone;
    platform::Value::Dictionary entry{{"User Name", name.user}, {"Machine Name", name.host}, {"Type", "LSF"}};
    const auto keep = [&entry](const char* key, const auto& value) {
        if (value)
            entry[key] = *value;
    };
    keep("Queue", options.queue);
    keep("Key File", options.key);
    keep("Port", options.port);
    keep("Through", options.through);
    if (options.allowWeak)
        entry["Allow Old Algorithms"] = true;
    list.back()->fillFromPropertyList(entry);
    machines.application.updateMachineInformation();
    return tell(fmt::format("Added {}. \"trelkind machines check {}\" signs in and makes the work folder.{}",
               name.text(), name.text(),
               options.queue
                   ? " Queue names only choose an item of the menus: jobs go to the scheduler's own "
                     "default."
                   : ""))
        ? kDone
        : kNotDone;
}

int remove(const MachineName& name, bool yes)
{
    MachineList machines;
    const auto machine = knownMachine(machines.application, name);
    if (!machine)
        return kNotDone;
    if (!yes && !askYesOrNo(fmt::format("Remove {} from the list of machines?", name.text())))
        return kNotDone;
    const auto& entries = machines.application.machines().controllers();
    const auto found = std::find(entries.begin(), entries.end(), machine);
    machines.application.machines().removeController(static_cast<std::size_t>(found - entries.begin()));
    machines.application.updateMachineInformation();
    return tell(fmt::format("Removed {}.", name.text())) ? kDone : kNotDone;
}

int password(const MachineName& name, std::optional<int> descriptor)
{
    MachineList machines;
    const auto machine = knownMachine(machines.application, name);
    if (!machine)
        return kNotDone;
    const auto secret =
        descriptor ? readSecretFrom(*descriptor) : askSecret(fmt::format("Password of {}: ", name.text()));
    if (!secret || secret->empty()) {
        complain("No password was given.");
        return kNotDone;
    }
    machine->form().passwordField.commit(*secret);
    return tell(fmt::format("Kept the password of {}.", name.text())) ? kDone : kNotDone;
}

int check(const MachineName& name, const std::optional<std::string>& workFolder)
{
    MachineList machines;
    const auto machine = knownMachine(machines.application, name);
    if (!machine)
        return kNotDone;
    if (workFolder)
        machine->form().workDirectoryNameField.setStringValue(*workFolder);
    const std::string words = checkMachine(*machine);
    return tell(words) && words == machinefolder::kWorked ? kDone : kNotDone;
}

int files(const MachineName& name, const MachinesOptions& options)
{
    MachineList machines;
    const auto machine = knownMachine(machines.application, name);
    if (!machine)
        return kNotDone;
    const auto login = machine->passwordInfo();
    machinefolder::Listing listing;
    signInWithAnswers(*login, [&] {
        listing = machinefolder::list(*login, options.workFolder.value_or(machine->workDirectory()));
        return !listing.error;
    });
    if (listing.error) {
        complain(*listing.error);
        return kNotDone;
    }
    auto json = nlohmann::ordered_json::array();
    bool told = true;
    for (const auto& entry : listing.entries) {
        const double seconds = std::chrono::duration<double>(entry.modified.time_since_epoch()).count();
        json.push_back({{"Directory", entry.name}, {"Date", seconds}});
        if (!options.json)
            told = tell(fmt::format("{}  {}", momentText(seconds), entry.name)) && told;
    }
    return (options.json ? writeJson(json) : told) ? kDone : kNotDone;
}

} // namespace

int machinesVerb(const MachinesOptions& options)
{
    if (options.action == MachinesOptions::Action::List)
        return list(options.json);
    const auto name = MachineName::parse(options.machine);
    if (!name)
        return kWrongUse;
    answerSignInOnTerminal(options.acceptNewHostKey);
    switch (options.action) {
    case MachinesOptions::Action::Add:
        return add(*name, options);
    case MachinesOptions::Action::Remove:
        return remove(*name, options.yes);
    case MachinesOptions::Action::Password:
        return password(*name, options.passwordDescriptor);
    case MachinesOptions::Action::Check:
        return check(*name, options.workFolder);
    default:
        return files(*name, options);
    }
}
