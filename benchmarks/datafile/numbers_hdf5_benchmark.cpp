// The same numbers with HDF5, in the newest version of its file format, which is the fastest for many
// entries, and with the order of creation tracked: without it, listing a group searches for each name.

#include "benchmark_files.h"

#include <hdf5.h>

#include <map>

namespace {

void writeNumbers(const std::string& path, int count)
{
    const hid_t access = H5Pcreate(H5P_FILE_ACCESS);
    H5Pset_libver_bounds(access, H5F_LIBVER_LATEST, H5F_LIBVER_LATEST);
    const hid_t creation = H5Pcreate(H5P_FILE_CREATE);
    H5Pset_link_creation_order(creation, H5P_CRT_ORDER_TRACKED | H5P_CRT_ORDER_INDEXED);
    const hid_t file = H5Fcreate(path.c_str(), H5F_ACC_TRUNC, creation, access);
    const hid_t single = H5Screate(H5S_SCALAR);
    for (int i = 0; i < count; ++i) {
        const double value = i;
        const hid_t set = H5Dcreate2(
            file, numberName(i).c_str(), H5T_NATIVE_DOUBLE, single, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
        H5Dwrite(set, H5T_NATIVE_DOUBLE, H5S_ALL, H5S_ALL, H5P_DEFAULT, &value);
        H5Dclose(set);
    }
    H5Sclose(single);
    H5Fclose(file);
    H5Pclose(creation);
    H5Pclose(access);
}

void AppendNumbersHdf5(benchmark::State& state)
{
    const BenchmarkFile file(".h5");
    for (auto _ : state)
        writeNumbers(file.path(), numberCount(state));
    countNumbers(state);
}

// What opening an SVDataFile finds: the name, the type and the size of each entry.
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

// The names only: the fastest way to list a group.
herr_t countName(hid_t, const char*, const H5L_info_t*, void* count)
{
    ++*static_cast<long*>(count);
    return 0;
}

// A file of so many numbers, written once: writing takes much longer than the reading that is measured.
const std::string& writtenNumbers(int count)
{
    static std::map<int, BenchmarkFile> files;
    const auto [place, isNew] = files.try_emplace(count, std::to_string(count) + ".h5");
    if (isNew)
        writeNumbers(place->second.path(), count);
    return place->second.path();
}

template <H5L_iterate_t visit>
void OpenNumbersHdf5(benchmark::State& state)
{
    const std::string& path = writtenNumbers(numberCount(state));
    for (auto _ : state) {
        const hid_t file = H5Fopen(path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT);
        long count = 0;
        H5Literate(file, H5_INDEX_CRT_ORDER, H5_ITER_NATIVE, nullptr, visit, &count);
        if (count != state.range(0))
            state.SkipWithError("a number is missing");
        H5Fclose(file);
    }
    countNumbers(state);
}

BENCHMARK(AppendNumbersHdf5)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(OpenNumbersHdf5<countName>)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->Repetitions(3);
BENCHMARK(OpenNumbersHdf5<look>)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond)->Iterations(1);

} // namespace
