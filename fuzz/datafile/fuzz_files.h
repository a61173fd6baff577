#pragma once

#include "datafile/SVDataStorage.h"

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>

// Shared by the fuzz targets of the data files: a folder for the files of a run, and readers that read all of
// a file. Most inputs make reports, which would hide the output of the fuzzer.
namespace fuzz {

inline std::string pathOf(const std::string& name)
{
    static const std::string folder = [] {
        std::cerr.setstate(std::ios::failbit);
        // In memory if possible: a disk would be too slow.
        const std::filesystem::path memory = "/dev/shm";
        std::error_code failure;
        const bool inMemory = std::filesystem::is_directory(memory, failure);
        std::string pattern =
            ((inMemory ? memory : std::filesystem::temp_directory_path()) / "fuzz-XXXXXX").string();
        return std::string(mkdtemp(pattern.data()));
    }();
    return folder + "/" + name;
}

inline void store(const std::string& path, const std::uint8_t* bytes, std::size_t count)
{
    if (std::FILE* file = std::fopen(path.c_str(), "wb")) {
        std::fwrite(bytes, 1, count, file);
        std::fclose(file);
    }
}

// The conversion of a NaN or of a number that doesn't fit depends on the machine, and the sanitizer stops at
// it. So an array is read with the type that it is stored with.
inline void readAll(const SVDataStorage& file)
{
    for (const std::string& name : file.AllVariableNames()) {
        file.ResolveName(name);
        if (file.SavedAsString(name))
            file.ReadString(name);
        else
            file.ReadDoubleArray(name);
        if (file.SavedAsShort(name))
            file.ReadUShortIntArray(name);
        if (file.SavedAsCharacter(name)) {
            file.ReadUCharArray(name);
            file.ReadCharArray(name);
        }
    }
}

} // namespace fuzz
