#include "Results.h"

#include "datafile/SVDataFile.h"
#include "datafile/SVVariableWriter.h"

#include <algorithm>
#include <string>

// Each variable is announced by its type, so that readers list it: docs/variables.md.
struct Results::File {
    SVDataFile file{"pattern.svbin", SVFile::NewReadWrite};
    SVVariableWriter writer{file};
    // The columns of the table of growth: a row for each share.
    std::vector<double> times;
    std::vector<double> shares;
    std::vector<std::string> trends;
};

Results::Results(const Parameters& parameters) : file_(new File)
{
    SVVariableWriter& writer = file_->writer;
    writer.Announce("v", "Array");
    writer.Announce("covered", "Real Number");
    writer.Write("feed", parameters.feed);
    writer.Write("decay", parameters.decay);
    writer.Write("substances", std::vector<std::string>{"u", "v"});
    const auto diffusion =
        SVVariableValue::Group({{"u", parameters.diffusionU}, {"v", parameters.diffusionV}});
    writer.Write("settings",
        SVVariableValue::Group({{"cells", parameters.size}, {"steps", parameters.steps},
            {"seed", parameters.seed}, {"diffusion", diffusion},
            {"square", SVVariableValue::Region2D(0, parameters.size, 0, parameters.size)}}));
}

Results::~Results() = default;

void Results::appendPattern(double time, std::size_t size, const std::vector<float>& v)
{
    SVMutableFloatArray array(static_cast<long>(size), static_cast<long>(size));
    std::copy(v.begin(), v.end(), array.Pointer());
    file_->writer.Append("v", time, array);
}

void Results::appendCovered(double time, double share)
{
    file_->writer.Append("covered", time, share);
    const double before = file_->shares.empty() ? share : file_->shares.back();
    file_->trends.push_back(share > before ? "grows" : share < before ? "shrinks" : "rests");
    file_->times.push_back(time);
    file_->shares.push_back(share);
}

void Results::finish()
{
    file_->writer.Write("growth",
        SVVariableValue::Table(
            {{"time", file_->times}, {"covered", file_->shares}, {"trend", file_->trends}}));
    file_->writer.Finish();
}
