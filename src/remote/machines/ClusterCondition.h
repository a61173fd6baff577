#pragma once

#include "remote/machines/SVSSHPasswordInfo.h"

#include <string>
#include <string_view>
#include <vector>

// What on a cluster would make a batch fail later, although sign-in and folders work. It is told and stops
// nothing.
namespace clustercondition {

// A command for the login's shell, of any kind, that prints the facts below a folder, a line each.
std::string query(const std::string& workDirectory);
// Sentences for the user about what the command has printed, which is as hostile as any peer. Empty when all
// is well and where there is nothing to tell from.
std::vector<std::string> remarks(std::string_view answer);
// Asks over a connection of its own. Blocks until it is done; empty when it can't be asked. Any thread.
std::vector<std::string> ask(const SVSSHPasswordInfo& login, const std::string& workDirectory);
// A message for each remark.
void report(const std::string& machineName, const std::vector<std::string>& remarks);

} // namespace clustercondition
