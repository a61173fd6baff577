#include "Results.h"

#include "datafile/SVDataFile.h"

#include <algorithm>
#include <string>
#include <utility>

// A variable of a data file with a value for each of several times: "<name>_0", "<name>_1" and so on, each
// with its time. The note "Seq_<name>" tells readers its type.
class Series {
public:
    Series(SVDataFile& file, std::string name, const char* type) : file_(file), name_(std::move(name))
    {
        file_.Save(type, "Seq_" + name_);
    }

    template <class Value>
    void append(double time, const Value& value)
    {
        const std::string entry = name_ + "_" + std::to_string(count_++);
        file_.Save(value, entry);
        file_.Save(time, entry + "_time");
        file_.Flush(); // A reader sees whole values while the program runs.
    }

private:
    SVDataFile& file_;
    std::string name_;
    int count_ = 0;
};

struct Results::File {
    SVDataFile file{"pattern.svbin", SVFile::NewReadWrite};
    Series pattern{file, "v", "Array"};
    Series covered{file, "covered", "Real Number"};
};

Results::Results(double feed, double decay) : file_(new File)
{
    WriteOne(file_->file, "feed", feed);
    WriteOne(file_->file, "decay", decay);
}

Results::~Results() = default;

void Results::appendPattern(double time, std::size_t size, const std::vector<float>& v)
{
    SVMutableFloatArray array(static_cast<long>(size), static_cast<long>(size));
    std::copy(v.begin(), v.end(), array.Pointer());
    file_->pattern.append(time, array);
}

void Results::appendCovered(double time, double share)
{
    file_->covered.append(time, share);
}
