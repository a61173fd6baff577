#include "apps/console/Question.h"

#include "apps/console/MessagePrinter.h"
#include "apps/console/TerminalText.h"

#include <fmt/format.h>

#include <cstdio>
#include <iostream>
#include <unistd.h>

bool askYesOrNo(const std::string& question)
{
    if (isatty(STDIN_FILENO) != 1 || isatty(STDERR_FILENO) != 1) {
        complain(fmt::format("{} Use --yes to skip this question.", question));
        return false;
    }
    std::fputs(terminal::printable(question + " [y/N] ").c_str(), stderr);
    std::string answer;
    return std::getline(std::cin, answer) && (answer == "y" || answer == "Y" || answer == "yes");
}
