#pragma once

#include <benchmark/benchmark.h>

#include <fstream>
#include <string>
#include <sys/utsname.h>

// What has to stand beside every figure: the machine and the build.
inline void describeMachine()
{
    std::string processor = "unknown processor";
    std::ifstream facts("/proc/cpuinfo");
    for (std::string line; std::getline(facts, line);)
        if (line.starts_with("model name")) {
            processor = line.substr(line.find(':') + 2);
            break;
        }
    utsname system{};
    uname(&system);
    benchmark::AddCustomContext("processor", processor);
    benchmark::AddCustomContext("system", std::string(system.sysname) + " " + system.release);
    benchmark::AddCustomContext("compiler", __VERSION__);
#ifdef NDEBUG
    benchmark::AddCustomContext("build", "release");
#else
    benchmark::AddCustomContext("build", "debug: figures mean nothing");
#endif
}

// All that the main function of a benchmark does.
inline int runBenchmarks(int argc, char** argv)
{
    describeMachine();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
