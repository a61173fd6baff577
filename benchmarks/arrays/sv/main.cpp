#include <benchmark/benchmark.h>

#include <malloc.h>

int main(int argc, char** argv)
{
    // Freed blocks stay with the program, so that a new array gets pages that were touched before.
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, -1);

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
