#pragma once

#include "platform/ProcessInfo.h"
#include "remote/cluster/SVTrelkindEngineLSF.h"
#include "remote/machines/KRTrelkindMachineLSF.h"
#include "ssh/Support.h"
#include "task/WrapperOnDisk.h"

#include <memory>
#include <string>

// A login on a real SSH server of this computer, as a cluster's: a small `sbatch` in its path runs jobs in
// the background. What the scheduler does is told by files in the login's folder "scheduler":
// - `refuse` exists: sbatch prints an error and runs nothing; `lose`: it takes a job and never runs it.
// - `hold` exists: jobs wait until it is gone.
// - `calls` gets a line for each job, its folder and arguments.
class LoopbackCluster {
public:
    static constexpr const char* kName = "cluster.test";

    // `pam` tells how the server checks passwords, unless it is empty.
    explicit LoopbackCluster(const std::string& configuration = "", const std::string& pam = "")
    {
        const std::string path = folder_.path() + ":/usr/local/bin:/usr/bin:/bin";
        addProgram("sbatch",
            "told=~/scheduler; mkdir -p $told\n"
            "echo \"$PWD $*\" >> $told/calls\n"
            "if [ -e $told/refuse ]; then echo 'sbatch: error: refused' >&2; exit 1; fi\n"
            "echo Submitted batch job $(wc -l < $told/calls)\n"
            "[ -e $told/lose ] && exit 0\n"
            "( while [ -e $told/hold ]; do sleep 0.05; done; exec \"${@: -1}\" ) > /dev/null 2>&1 < "
            "/dev/null &\n");
        server_ = support::RealServer::openSsh("", "SetEnv PATH=" + path + "\n" + configuration, pam);
        MachineAddress::resolver() = [this](const std::string& name) {
            return name == kName ? MachineAddress{"127.0.0.1", server_->port()} : MachineAddress{name};
        };
    }
    ~LoopbackCluster() { MachineAddress::resolver() = nullptr; }

    // Puts a program of bash into the login's path.
    void addProgram(const std::string& name, const std::string& text) const
    {
        support::writeFile(folder_ / name, "#!/bin/bash\n" + text);
        std::filesystem::permissions(folder_ / name, std::filesystem::perms(0755));
    }
    // Whether there is a server with an account of the test's.
    bool works() const { return server_ && server_->ownAccount(); }
    int port() const { return server_->port(); }
    void endConnections() const { server_->endConnections(); }
    std::string home() const { return server_->home(); }
    std::string operator/(const std::string& name) const { return home() + "/" + name; }
    std::string read(const std::string& name) const { return support::readFile(*this / name); }
    bool has(const std::string& name) const { return platform::files::exists(*this / name); }
    void write(const std::string& name, const std::string& text) const
    {
        std::filesystem::create_directories(platform::paths::deletingLastComponent(*this / name));
        support::writeFile(*this / name, text);
    }
    // Names in a folder of the login, in order.
    std::vector<std::string> names(const std::string& folder) const
    {
        auto found = platform::files::contentsOfDirectory(*this / folder).value_or({});
        std::sort(found.begin(), found.end());
        return found;
    }

    SVSSHPasswordInfo::Pointer login(const std::string& password = support::RealServer::kPassword) const
    {
        return SVSSHPasswordInfo::createWithHost(kName, platform::loginName(), password);
    }
    std::shared_ptr<KRTrelkindMachineLSF> machine() const
    {
        auto machine = KRTrelkindMachineLSF::createFromNib();
        machine->fillFromPropertyList(entry());
        machine->form().passwordField.setStringValue(support::RealServer::kPassword);
        return machine;
    }
    static platform::Value entry()
    {
        return platform::Value::Dictionary{
            {"User Name", platform::loginName()}, {"Machine Name", kName}, {"Queue", "short"}};
    }

private:
    TemporaryFolder folder_;
    std::unique_ptr<support::RealServer> server_;
};

// A development project of one C++ source beside the wrapper.
inline std::string makeProject(const std::string& folder, const std::string& source)
{
    const std::string bundle = folder + "/solver.xcodeproj";
    EXPECT_TRUE(platform::files::createDirectories(bundle));
    support::writeFile(folder + "/main.cpp", source);
    support::writeFile(bundle + "/project.pbxproj",
        "{ objects = {\n"
        "A1 = {isa = PBXFileReference; path = main.cpp; sourceTree = \"<group>\"; };\n"
        "A2 = {isa = PBXBuildFile; fileRef = A1; };\n"
        "A3 = {isa = PBXGroup; children = (A1); sourceTree = \"<group>\"; };\n"
        "A4 = {isa = PBXSourcesBuildPhase; files = (A2); };\n"
        "A5 = {isa = PBXNativeTarget; buildPhases = (A4); name = solver; };\n"
        "A6 = {isa = PBXProject; mainGroup = A3; targets = (A5); };\n"
        "}; rootObject = A6; }\n");
    return bundle;
}
