// A message of 100 MB through a Unix socket, beside bare write() and read() of the same bytes.

#include "BenchmarkMain.h"
#include "platform/TemporaryFolder.h"
#include "platform/files/Descriptor.h"
#include "platform/loop/MainLoop.h"
#include "storage/memory/KRDataInMemory.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr long kElements = 100'000'000 / 8;
constexpr std::size_t kBytes = kElements * sizeof(double);

void Message(benchmark::State& state)
{
    const TemporaryFolder folder;
    KRDataInMemory receiver;
    KRDataInMemory sender;
    if (!receiver.registerWithSocket(folder / "socket"))
        std::abort();
    std::thread waiting([&] { receiver.setUpCommunicationSocket(); });
    if (!sender.connectToSocket(folder / "socket"))
        std::abort();
    waiting.join();
    const auto array = KRDoubleArrayContainer::createArrayOfLength(kElements);
    array->setAllValues(1);
    sender.writeDoubleArray(array, "x");
    for (auto _ : state) {
        std::thread sending([&] { sender.sendDataThroughSocket(); });
        if (!receiver.recieveDataFromSocket())
            std::abort();
        sending.join();
        state.PauseTiming();
        receiver.removeAllData();
        state.ResumeTiming();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kBytes));
}

void BareSocket(benchmark::State& state)
{
    std::array<int, 2> pair{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair.data()) != 0)
        std::abort();
    const platform::Descriptor from(pair[0]);
    const platform::Descriptor to(pair[1]);
    const auto sent = std::make_unique<double[]>(kElements);
    std::fill_n(sent.get(), kElements, 1);
    for (auto _ : state) {
        state.PauseTiming();
        const std::unique_ptr<char[]> received(new char[kBytes]); // Fresh, as the message's array.
        state.ResumeTiming();
        std::thread sending([&] {
            if (!platform::writeAll(from.get(), {reinterpret_cast<const char*>(sent.get()), kBytes}))
                std::abort();
        });
        for (std::size_t done = 0; done < kBytes;) {
            const auto came = ::read(to.get(), received.get() + done, kBytes - done);
            if (came <= 0)
                std::abort();
            done += static_cast<std::size_t>(came);
        }
        sending.join();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kBytes));
}

BENCHMARK(Message)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BareSocket)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

int main(int argc, char** argv)
{
    platform::MainLoop::main();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    describeMachine();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
