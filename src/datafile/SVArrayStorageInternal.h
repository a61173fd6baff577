#pragma once

// The definitions of SVArrayStorageOf, for the sources that instantiate it for their file.

#include "datafile/SVDataStorage.h"

#define SV_ARRAY_OPERATIONS(Array, Mutable, T, Read)                                                         \
    template <class File>                                                                                    \
    void SVArrayStorageOf<File>::Save(const Array& array, const std::string& name)                           \
    {                                                                                                        \
        static_cast<File*>(this)->SaveArray(array, name);                                                    \
    }                                                                                                        \
    template <class File>                                                                                    \
    Mutable SVArrayStorageOf<File>::Read(const std::string& name) const                                      \
    {                                                                                                        \
        return static_cast<const File*>(this)->template ReadArray<T>(name);                                  \
    }

SV_ARRAY_OPERATIONS(SVDoubleArray, SVMutableDoubleArray, double, ReadDoubleArray)
SV_ARRAY_OPERATIONS(SVFloatArray, SVMutableFloatArray, float, ReadFloatArray)
SV_ARRAY_OPERATIONS(SVIntArray, SVMutableIntArray, std::int32_t, ReadIntArray)
SV_ARRAY_OPERATIONS(SVCharArray, SVMutableCharArray, signed char, ReadCharArray)
SV_ARRAY_OPERATIONS(SVUCharArray, SVMutableUCharArray, unsigned char, ReadUCharArray)
SV_ARRAY_OPERATIONS(SVShortIntArray, SVMutableShortIntArray, std::int16_t, ReadShortIntArray)
SV_ARRAY_OPERATIONS(SVUShortIntArray, SVMutableUShortIntArray, std::uint16_t, ReadUShortIntArray)

#undef SV_ARRAY_OPERATIONS
