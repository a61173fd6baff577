#pragma once

#include "storage/KRDataStorage.h"
#include "storage/bytes/DataFileStream.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <span>

// An array that stays in its file, to read parts of it: for one that is larger than what is wanted of it. It
// keeps the file open, whatever becomes of its name. Any thread.
class StoredArray {
public:
    StoredArray(std::unique_ptr<DataFileStream> file, std::uint64_t offset, ElementType type, bool mustSwap,
        KRDataStorage::Size size)
        : file_(std::move(file)), offset_(offset), type_(type), mustSwap_(mustSwap), size_(size)
    { }

    ElementType type() const { return type_; }
    const KRDataStorage::Size& size() const { return size_; }
    // So many elements from the first one on, in their order in the file: the first index runs fastest. NaN
    // for what can't be read.
    void read(std::uint64_t first, std::span<double> into) const;

private:
    std::uint64_t length() const { return static_cast<std::uint64_t>(size_.m) * size_.n * size_.o; }

    mutable std::mutex access_; // To the file.
    const std::unique_ptr<DataFileStream> file_;
    const std::uint64_t offset_; // Of the first element.
    const ElementType type_;
    const bool mustSwap_;
    const KRDataStorage::Size size_;
};
