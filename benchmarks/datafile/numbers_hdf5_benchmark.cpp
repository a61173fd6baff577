// The same million numbers with HDF5, with the newest form of its files, which is its fastest for many
// entries.

#include "benchmark_files.h"

#include <hdf5.h>

namespace {

void writeNumbers(const std::string& path)
{
    const hid_t access = H5Pcreate(H5P_FILE_ACCESS);
    H5Pset_libver_bounds(access, H5F_LIBVER_LATEST, H5F_LIBVER_LATEST);
    const hid_t file = H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, access);
    const hid_t single = H5Screate(H5S_SCALAR);
    for (int i = 0; i < kNumbers; ++i) {
        const double value = i;
        const hid_t set = H5Dcreate2(
            file, numberName(i).c_str(), H5T_NATIVE_DOUBLE, single, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
        H5Dwrite(set, H5T_NATIVE_DOUBLE, H5S_ALL, H5S_ALL, H5P_DEFAULT, &value);
        H5Dclose(set);
    }
    H5Sclose(single);
    H5Fclose(file);
    H5Pclose(access);
}

void AppendNumbersHdf5(benchmark::State& state)
{
    const BenchmarkFile file(".h5");
    for (auto _ : state)
        writeNumbers(file.path());
    countNumbers(state);
}

// What opening a data file of ours tells: the name, the type and the size of each entry.
herr_t look(hid_t group, const char* name, const H5L_info_t*, void* count)
{
    const hid_t set = H5Dopen2(group, name, H5P_DEFAULT);
    const hid_t type = H5Dget_type(set);
    const hid_t space = H5Dget_space(set);
    *static_cast<long*>(count) += H5Sget_simple_extent_npoints(space);
    H5Sclose(space);
    H5Tclose(type);
    H5Dclose(set);
    return 0;
}

void OpenNumbersHdf5(benchmark::State& state)
{
    const BenchmarkFile path(".h5");
    writeNumbers(path.path());
    for (auto _ : state) {
        const hid_t file = H5Fopen(path.path().c_str(), H5F_ACC_RDONLY, H5P_DEFAULT);
        long count = 0;
        H5Literate(file, H5_INDEX_NAME, H5_ITER_NATIVE, nullptr, look, &count);
        if (count != kNumbers)
            state.SkipWithError("a number is missing");
        H5Fclose(file);
    }
    countNumbers(state);
}

// The names alone, which is the least that it can do.
void OpenNumbersHdf5NamesOnly(benchmark::State& state)
{
    const BenchmarkFile path(".h5");
    writeNumbers(path.path());
    const auto countName = [](hid_t, const char*, const H5L_info_t*, void* count) -> herr_t {
        ++*static_cast<long*>(count);
        return 0;
    };
    for (auto _ : state) {
        const hid_t file = H5Fopen(path.path().c_str(), H5F_ACC_RDONLY, H5P_DEFAULT);
        long count = 0;
        H5Literate(file, H5_INDEX_NAME, H5_ITER_NATIVE, nullptr, countName, &count);
        benchmark::DoNotOptimize(count);
        H5Fclose(file);
    }
    countNumbers(state);
}

BENCHMARK(AppendNumbersHdf5)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(OpenNumbersHdf5)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(OpenNumbersHdf5NamesOnly)->Unit(benchmark::kMillisecond)->Iterations(1);

} // namespace
