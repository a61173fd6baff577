#pragma once

#include "arrays/sv/SVTransform2D.h"
#include "arrays/sv/SVTransform3D.h"

#include <string>

// Transforms in a storage of named arrays: any class with ReadDoubleArray(name), Save(value, name) for double
// arrays and strings, and Flush(), such as the data files.

// False, with a report, if the storage has no array of the right size by that name; T stays as it was.
template <class Storage>
bool Read(const Storage& storage, const std::string& name, SVTransform2D& T)
{
    return ReadFromArray(storage.ReadDoubleArray(name), T);
}

template <class Storage>
bool Read(const Storage& storage, const std::string& name, SVTransform3D& T)
{
    return ReadFromArray(storage.ReadDoubleArray(name), T);
}

template <class Storage>
void Write(Storage& storage, const std::string& name, const SVTransform2D& T)
{
    storage.Save(SVDoubleArray(ConvertToArray(T)), name);
}

template <class Storage>
void Write(Storage& storage, const std::string& name, const SVTransform3D& T)
{
    storage.Save(SVDoubleArray(ConvertToArray(T)), name);
}

// Writes the value, then the note of its type, and flushes.
template <class Storage>
void WriteOne(Storage& storage, const std::string& name, const SVTransform2D& T)
{
    Write(storage, name, T);
    storage.Save(std::string("2D Transform"), "Seq_" + name);
    storage.Flush();
}

template <class Storage>
void WriteOne(Storage& storage, const std::string& name, const SVTransform3D& T)
{
    Write(storage, name, T);
    storage.Save(std::string("3D Transform"), "Seq_" + name);
    storage.Flush();
}
