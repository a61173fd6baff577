#include "apps/console/Question.h"

#include "apps/console/MessagePrinter.h"
#include "apps/console/TerminalText.h"

#include <fmt/format.h>

#include <cstdio>
#include <iostream>
#include <termios.h>
#include <unistd.h>

bool askYesOrNo(const std::string& question)
{
    return askYesOrNo(question, "--yes");
}

std::optional<std::string> askLine(const std::string& question)
{
    if (isatty(STDIN_FILENO) != 1 || isatty(STDERR_FILENO) != 1) {
        complain(fmt::format("{} There is no terminal to answer on.", question));
        return std::nullopt;
    }
    std::fputs(terminal::printable(question).c_str(), stderr);
    return readSecretFrom(STDIN_FILENO);
}

bool askYesOrNo(const std::string& question, const std::string& option)
{
    if (isatty(STDIN_FILENO) != 1 || isatty(STDERR_FILENO) != 1) {
        complain(fmt::format("{} Use {} to skip this question.", question, option));
        return false;
    }
    std::fputs(terminal::printable(question + " [y/N] ").c_str(), stderr);
    std::string answer;
    return std::getline(std::cin, answer) && (answer == "y" || answer == "Y" || answer == "yes");
}

std::optional<std::string> askSecret(const std::string& question)
{
    termios before{};
    if (isatty(STDERR_FILENO) != 1 || ::tcgetattr(STDIN_FILENO, &before) != 0) {
        complain(fmt::format("{} There is no terminal to answer on.", question));
        return std::nullopt;
    }
    termios hidden = before;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    if (::tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden) != 0)
        return std::nullopt;
    std::fputs(terminal::printable(question).c_str(), stderr);
    auto answer = readSecretFrom(STDIN_FILENO);
    ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &before);
    std::fputs("\n", stderr);
    return answer;
}

std::optional<std::string> readSecretFrom(int descriptor)
{
    constexpr std::size_t kLongestSecret = 4096;
    std::string line;
    for (char next = 0; line.size() < kLongestSecret && ::read(descriptor, &next, 1) == 1 && next != '\n';)
        line += next;
    return line.empty() ? std::nullopt : std::optional(line);
}
