#pragma once

#include "platform/files/Descriptor.h"
#include "task/WrapperOnDisk.h"

#include <array>
#include <pty.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace support {

inline std::size_t countOf(const std::string& text, std::string_view part)
{
    std::size_t count = 0;
    for (auto place = text.find(part); place != std::string::npos; place = text.find(part, place + 1))
        ++count;
    return count;
}

// The program with a pseudo-terminal as its terminal.
class OnTerminal {
public:
    OnTerminal(const WrapperOnDisk& wrapper, const std::vector<std::string>& arguments,
        const std::string& variable = "NO_COLOR=", winsize size = {24, 100, 0, 0})
    {
        std::vector<std::string> call{"/usr/bin/env", "TERM=xterm-256color", "LC_ALL=C.UTF-8",
            "TRELKIND_PLACES=" + wrapper.folder() / "places", variable, TRELKIND};
        call.insert(call.end(), arguments.begin(), arguments.end());
        int terminal = -1;
        process_ = ::forkpty(&terminal, nullptr, nullptr, &size);
        terminal_ = platform::Descriptor(terminal);
        if (process_ != 0)
            return;
        std::vector<char*> words;
        for (std::string& word : call)
            words.push_back(word.data());
        words.push_back(nullptr);
        ::execv(words[0], words.data());
        ::_exit(127);
    }

    void type(std::string_view keys) const
    {
        EXPECT_EQ(::write(terminal_.get(), keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }
    void close() { terminal_.reset(); }
    pid_t process() const { return process_; }
    void resize(winsize size) const { ::ioctl(terminal_.get(), TIOCSWINSZ, &size); }
    // Reads until the text has so many of a part; false at the end of the program.
    bool reads(std::string_view part, std::size_t atLeast = 1)
    {
        std::array<char, 4096> bytes{};
        while (countOf(text_, part) < atLeast) {
            const ssize_t count = ::read(terminal_.get(), bytes.data(), bytes.size());
            if (count <= 0)
                return false;
            text_.append(bytes.data(), static_cast<std::size_t>(count));
        }
        return true;
    }
    // The same for one more than there has been so far.
    bool readsAgain(std::string_view part) { return reads(part, countOf(text_, part) + 1); }
    int finish()
    {
        reads("", std::string::npos);
        int status = 0;
        ::waitpid(process_, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    const std::string& text() const { return text_; }

private:
    platform::Descriptor terminal_;
    pid_t process_ = -1;
    std::string text_;
};

} // namespace support
