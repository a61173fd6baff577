#pragma once

#include "arrays/kernels/SVLargePages.h"
#include "arrays/legacy/KRArray.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

// Numbers whose count isn't known before they are read. The block becomes that of an array in the end,
// without a copy.
template <class T>
class KRNumberBuffer {
public:
    // Room for so many numbers is a first guess.
    explicit KRNumberBuffer(long guess) { grow(std::max(guess, 16L)); }
    ~KRNumberBuffer() { std::free(block_); }
    KRNumberBuffer(const KRNumberBuffer&) = delete;
    KRNumberBuffer& operator=(const KRNumberBuffer&) = delete;

    long count() const { return count_; }
    const T* numbers() const { return block_; }
    void truncate(long count) { count_ = std::min(count, count_); }

    // False without memory for one more.
    bool add(T number)
    {
        if (count_ == capacity_ && !grow(capacity_ + capacity_ / 2 + 16))
            return false;
        block_[count_++] = number;
        return true;
    }

    // The numbers as a vector; the buffer is empty afterwards.
    KRMutableArray<T> take()
    {
        T* block = std::exchange(block_, nullptr);
        const long count = std::exchange(count_, 0);
        capacity_ = 0;
        if (count == 0) {
            std::free(block);
            return KRMutableArray<T>();
        }
        // Shrinking doesn't fail, and if it does, the block is larger than it need be.
        if (void* fitting = std::realloc(block, static_cast<std::size_t>(count) * sizeof(T)))
            block = static_cast<T*>(fitting);
        return KRMutableArray<T>::TakeOver(block, count);
    }

private:
    bool grow(long capacity)
    {
        if (capacity > std::numeric_limits<long>::max() / static_cast<long>(sizeof(T)))
            return false;
        void* const larger = std::realloc(block_, static_cast<std::size_t>(capacity) * sizeof(T));
        if (!larger)
            return false;
        block_ = static_cast<T*>(larger);
        svinternal::adviseLargePages(block_, static_cast<std::size_t>(capacity) * sizeof(T));
        capacity_ = capacity;
        return true;
    }

    T* block_ = nullptr;
    long count_ = 0;
    long capacity_ = 0;
};
