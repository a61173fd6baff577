#pragma once

#include "platform/ProcessInfo.h"
#include "platform/process/Process.h"
#include "remote/server/SVRemoteEngineController.h"
#include "task/WrapperOnDisk.h"
#include "task/application/KRTrelkindController.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fmt/format.h>

// A wrapper, a task server of this machine, and stand-ins for scp and touch that are found before the real
// ones: they copy within this machine, note each call, and fail or hang when a file tells them to.
class ServedBatch {
public:
    ServedBatch()
    {
        EXPECT_TRUE(platform::files::createDirectories(platform::Places::scratch()));
        EXPECT_TRUE(platform::files::createDirectories(bin()));
        EXPECT_TRUE(platform::files::createDirectories(bin()));
        install("scp", R"(#!/bin/bash
echo "$@" >> "$H/scp.calls"
echo copying > "$H/scp.state"
mode=$(cat "$H/scp.mode" 2> /dev/null)
from=${2#*@*:} to=${3#*@*:}
case "$mode" in
fail*) [[ "$*" != *${mode#fail }* ]] || exit 1 ;;
hang*) [[ "$*" != *${mode#hang }* ]] || {
  case "$to" in */ | .) ;; *) mkdir -p "$to" ;; esac # It got no further.
  echo hangs > "$H/scp.state"; sleep 1000; } ;;
esac
exec cp -a "$from" "$to"
)");
        install("touch", R"(#!/bin/bash
count=$(cat "$H/touch.hangs" 2> /dev/null)
case "$1" in
*runStarted*) echo x >> "$H/touch.calls"
  if [ "${count:-0}" -gt 0 ]; then echo $((count - 1)) > "$H/touch.hangs"; sleep 1000; fi ;;
esac
exec /usr/bin/touch "$@"
)");
        path_ = std::getenv("PATH");
        ::setenv("PATH", (bin() + ":" + path_).c_str(), 1);
        platform::Pace::setFactor(0.1);
    }
    ~ServedBatch()
    {
        ::setenv("PATH", path_.c_str(), 1);
        stopServer();
        platform::Pace::setFactor(1);
    }

    std::string folder() const { return wrapper.folder().path(); }
    std::string bin() const { return folder() + "/bin"; }
    std::string user() const { return platform::loginName(); }
    std::string serverFolder() const { return serverplaces::folderOf(user()); }
    void tell(const std::string& file, const std::string& words) const
    {
        EXPECT_TRUE(platform::files::writeFile(folder() + "/" + file, words));
    }
    std::string told(const std::string& file) const
    {
        return platform::files::readFile(folder() + "/" + file).value_or("");
    }
    int lines(const std::string& file) const
    {
        const std::string text = told(file);
        return static_cast<int>(std::count(text.begin(), text.end(), '\n'));
    }

    void startServer(std::vector<std::string> options = {})
    {
        options.insert(options.end(), {"--folder", serverFolder()});
        EXPECT_TRUE(platform::files::createDirectories(platform::Places::varTmp()));
        const auto launched = platform::Process::launch({TASKSERVER, options, ""});
        ASSERT_TRUE(launched) << launched.error().reason;
        server = *launched;
        EXPECT_TRUE(served([this] { return platform::files::exists(serverFolder() + "/port"); }));
    }
    void stopServer()
    {
        if (!server)
            return;
        server->terminate();
        // A silent server is stopped; it goes with the later kill.
        ::kill(server->processIdentifier(), SIGCONT);
        EXPECT_TRUE(server->waitUntilExit(20));
        server.reset();
        std::ignore = platform::files::remove(serverFolder() + "/port");
    }

    // A program whose first line is for bash.
    void program(const std::string& script, const std::string& name = "program")
    {
        const std::string text = "#!/bin/bash\n" + script + "\n";
        wrapper.executable(text, name);
        wrapper.write(name, text); // The server's copy lies beside the folder of this computer's.
        EXPECT_TRUE(platform::files::setPermissions(wrapper / name, 0755));
    }

    // The next round begins with empty run folders and no messages.
    void clean()
    {
        for (const char* name : {"/0", "/1", "/2"})
            std::ignore = platform::files::remove(wrapper.path() + name);
        for (const char* name : {"/scp.calls", "/scp.state", "/scp.mode"})
            std::ignore = platform::files::remove(folder() + name);
        wrapper.messages();
        KRMessageCenter::sharedMessageCenter()->clearMessages();
    }

    WrapperOnDisk wrapper;
    std::shared_ptr<platform::Process> server;

private:
    void install(const std::string& name, const std::string& script) const
    {
        std::string text = script;
        for (auto place = text.find("$H"); place != text.npos; place = text.find("$H", place))
            text.replace(place, 2, folder());
        EXPECT_TRUE(platform::files::writeFile(bin() + "/" + name, text));
        EXPECT_TRUE(platform::files::setPermissions(bin() + "/" + name, 0755));
    }
    std::string path_;
};
