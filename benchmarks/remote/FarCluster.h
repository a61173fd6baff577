#pragma once

// A login node at the end of a line with 25 ms each way, for the benchmarks of batches.

#include "platform/ProcessInfo.h"
#include "platform/files/Places.h"
#include "platform/loop/MainLoop.h"
#include "remote/machines/SVSSHPasswordInfo.h"
#include "ssh/Relay.h"
#include "ssh/Support.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

struct FarCluster {
    static constexpr auto kDelay = std::chrono::milliseconds(25);

    // Nothing, with a sentence, where an OpenSSH server can't be started as an ordinary process.
    static std::unique_ptr<FarCluster> start()
    {
        platform::MainLoop::main();
        auto cluster = std::make_unique<FarCluster>();
        platform::Places::setRoot(cluster->folder / "places");
        std::string publicLine;
        const std::string key = cluster->folder / "key";
        support::writeFile(key, support::makeKeyText("ssh-ed25519", false, &publicLine));
        std::filesystem::permissions(key, std::filesystem::perms(0600));
        cluster->server = support::RealServer::openSsh(publicLine);
        if (!cluster->server) {
            std::fprintf(stderr, "An OpenSSH server could not be started as an ordinary process here.\n");
            return nullptr;
        }
        cluster->line = std::make_unique<Relay>(cluster->server->port(), kDelay);
        std::filesystem::create_directories(cluster->remote());
        return cluster;
    }

    MachineAccess access() const
    {
        MachineAccess access;
        access.keyFile = folder / "key";
        access.port = line->port();
        return access;
    }
    SVSSHPasswordInfo::Pointer login() const
    {
        return SVSSHPasswordInfo::createWithHost("127.0.0.1", platform::loginName(), std::nullopt, access());
    }
    std::string wrapper() const { return folder / "Batch.vtask"; }
    std::string remote() const { return folder / "cluster"; } // The work folder, seen from here.
    std::string shell() const // For a program that takes ssh's command.
    {
        return "ssh -F none -p " + std::to_string(line->port()) + " -i " + (folder / "key")
            + " -o UserKnownHostsFile=" + (folder / "theirs")
            + " -o StrictHostKeyChecking=no -o IdentityAgent=none -o LogLevel=ERROR";
    }

    support::TemporaryFolder folder;
    std::unique_ptr<support::RealServer> server;
    std::unique_ptr<Relay> line;
};

inline void writeIn(const std::string& folder, const std::string& name, const std::string& text)
{
    std::filesystem::create_directories(folder);
    support::writeFile(folder + "/" + name, text);
}
