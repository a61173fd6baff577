// The other side of a named service, as a process of its own.
//   service_peer NAME FILE     serves until it is killed; writes what it is told into the file, a line for
//                              each operation

#include "platform/files/FileManager.h"
#include "platform/loop/MainLoop.h"
#include "platform/service/LocalService.h"

#include <string>
#include <tuple>
#include <unistd.h>

using platform::LocalService;
using platform::MainLoop;
using platform::Value;

int main(int count, char** arguments)
{
    if (count != 3)
        return 2;
    const std::string file = arguments[2];
    const auto note = [&](const std::string& line) {
        std::ignore = platform::files::appendToFile(file, line + "\n");
    };
    const auto service =
        LocalService::offer(arguments[1], [&](const std::string& operation, const Value& argument) {
            if (operation == "slow")
                usleep(300000);
            note(operation + " " + argument.textFor("text").value_or("-"));
            return argument;
        });
    if (!service)
        return 1;
    note("ready");
    (*service)->whenConnectionsChange(
        [&](int connections) { note("connections " + std::to_string(connections)); });
    MainLoop::main().run();
    return 0;
}
