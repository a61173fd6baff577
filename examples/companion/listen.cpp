// Listens to what Trelkind tells its companion, and prints it: which tasks of which wrapper have changed. A
// starting point for programs that show results as they come.
//
// The companion offers the name below and is told "recieveTrelkindNotification:" with a dictionary from a
// wrapper's path to an array of task numbers, from 0. It is not told what has changed: look into the folders.

#include "platform/loop/MainLoop.h"
#include "platform/service/LocalService.h"

#include <csignal>
#include <iostream>

namespace {

platform::Value printNotification(const std::string& operation, const platform::Value& argument)
{
    if (operation != "recieveTrelkindNotification:" || !argument.dictionary())
        return {};
    for (const auto& [wrapper, numbers] : *argument.dictionary()) {
        std::cout << wrapper << ":";
        if (numbers.array())
            for (const platform::Value& number : *numbers.array())
                std::cout << " " << number.integer().value_or(-1);
        std::cout << std::endl;
    }
    return {};
}

} // namespace

int main()
{
    auto& loop = platform::MainLoop::main();
    const auto service = platform::LocalService::offer("SorvantaTrelkindNotify", printNotification);
    if (!service) {
        std::cerr << "Somebody listens already.\n";
        return 1;
    }
    (*service)->whenConnectionsChange(
        [](int count) { std::cout << (count == 0 ? "nobody is connected" : "connected") << std::endl; });
    const auto stop = loop.watchSignal(SIGINT, [&loop] { loop.stop(); });
    std::cout << "listening" << std::endl;
    loop.run();
}
