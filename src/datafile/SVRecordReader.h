#pragma once

#include <cstddef>
#include <cstring>
#include <string>

// Reads packed numbers and names from bytes in the machine's byte order, never past their end.
class SVRecordReader {
public:
    SVRecordReader(const unsigned char* bytes, std::size_t count) : next_(bytes), left_(count) { }

    bool AtEnd() const { return left_ == 0; }

    // False, and the number unchanged, if not all of its bytes are there.
    template <class Number>
    bool Take(Number& number)
    {
        if (left_ < sizeof number)
            return false;
        std::memcpy(&number, next_, sizeof number);
        Skip(sizeof number);
        return true;
    }

    // A name up to its NUL, or up to the end of the bytes.
    std::string TakeName();
    bool NameWasCut() const { return nameWasCut_; } // The last name had no NUL: the bytes are torn.

private:
    void Skip(std::size_t count)
    {
        next_ += count;
        left_ -= count;
    }

    const unsigned char* next_;
    std::size_t left_;
    bool nameWasCut_ = false;
};

// Appends a number's bytes, and a name with its NUL, in the machine's byte order.
template <class Number>
void SVAppendNumber(std::string& bytes, Number number)
{
    char raw[sizeof number];
    std::memcpy(raw, &number, sizeof number);
    bytes.append(raw, sizeof number);
}
inline void SVAppendName(std::string& bytes, const std::string& name)
{
    bytes.append(name.c_str(), name.size() + 1);
}

// The offset just past m x n x o elements of elementSize bytes at a location: -1 if a dimension is negative,
// the largest number if the offset overflows.
long long SVEndOfData(long long location, int m, int n, int o, int elementSize);

// Why a record of an index can't be right: its data would end behind the file, or anything else.
enum class SVRecordFault { None, Record, BeyondEnd };
