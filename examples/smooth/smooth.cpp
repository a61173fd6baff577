// Shows what a filter does to a variable of a data file: a picture with the variable on the left and the
// smoothed one on the right. Of a volume it shows the layer in the middle.
//
//     smooth --sample noisy.svbin              a data file to begin with
//     smooth noisy.svbin Image median out.pgm
//     smooth noisy.svbin Image 1.5 out.pgm     a Gaussian of 1.5 entries
//
// The picture is a PGM, which every image viewer opens.

#include "arrays/legacy/KRArrayFilters.h"
#include "datafile/SVDataFile.h"
#include "datafile/SVMatlabDataFile.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

// Rings with noise, and one entry of fifty far off.
void writeSample(const std::string& name)
{
    std::mt19937 random(1);
    std::normal_distribution<double> noise(0, 0.15);
    SVMutableFloatArray image(300, 240);
    for (long j = 0; j < image.n(); ++j)
        for (long i = 0; i < image.m(); ++i) {
            const double x = static_cast<double>(i - 150), y = static_cast<double>(j - 120);
            const bool isOff = random() % 50 == 0;
            const double value =
                isOff ? (random() % 2 == 0 ? -1.5 : 1.5) : std::cos(std::hypot(x, y) / 12) + noise(random);
            image(i, j) = static_cast<float>(value);
        }
    SVDataFile file(name, SVFile::NewReadWrite);
    WriteOne(file, "Image", image);
}

SVMutableFloatArray readVariable(const std::string& name, const std::string& variable)
{
    if (name.ends_with(".mat"))
        return SVMatlabDataFile(name, SVFile::ReadOnly).ReadFloatArray(variable);
    return SVDataFile(name, SVFile::ReadOnly).ReadFloatArray(variable);
}

// The variable as an array of the object layer.
MutableFloatArray asObjectArray(const SVFloatArray& from)
{
    MutableFloatArray array(from.m(), from.n(), from.o());
    std::copy_n(from.Pointer(), array.Length(), array.Pointer());
    return array;
}

bool applyFilter(const std::string& filter, const FloatArray& from, MutableFloatArray& to)
{
    if (filter == "mean")
        return MeanFilter(from, to);
    if (filter == "median")
        return MedianFilter(from, to);
    const double sigma = std::atof(filter.c_str());
    return sigma > 0 && GaussianSmoothing5pt(sigma, from, to);
}

// The middle layers of both arrays side by side; black and white are the extremes of the finite entries of
// the first.
bool writePicture(const std::string& path, const FloatArray& left, const FloatArray& right)
{
    constexpr long kGap = 8;
    const long m = left.m(), n = left.n();
    const long layer = left.o() / 2 * m * n;
    float low = INFINITY, high = -INFINITY;
    for (long i = 0; i < m * n; ++i)
        if (const float entry = left.Pointer()[layer + i]; std::isfinite(entry)) {
            low = std::min(low, entry);
            high = std::max(high, entry);
        }
    const auto grey = [&](float entry) {
        const float scaled = high > low ? 255 * (entry - low) / (high - low) : 128;
        return static_cast<unsigned char>(std::isnan(scaled) ? 0 : std::clamp(scaled, 0.0F, 255.0F));
    };
    const long width = 2 * m + kGap;
    std::vector<unsigned char> pixels(static_cast<std::size_t>(width * n), 255);
    for (long j = 0; j < n; ++j) // The first line of a picture is its top; that of an array its bottom.
        for (long i = 0; i < m; ++i) {
            const auto place = static_cast<std::size_t>((n - 1 - j) * width + i);
            pixels[place] = grey(left.Pointer()[layer + j * m + i]);
            pixels[place + static_cast<std::size_t>(m + kGap)] = grey(right.Pointer()[layer + j * m + i]);
        }
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "wb"), std::fclose);
    return file && std::fprintf(file.get(), "P5\n%ld %ld\n255\n", width, n) > 0
        && std::fwrite(pixels.data(), 1, pixels.size(), file.get()) == pixels.size()
        && std::fflush(file.get()) == 0;
}

int fail(const std::string& reason)
{
    std::fprintf(stderr, "smooth: %s\n", reason.c_str());
    return 1;
}

} // namespace

int main(int argc, char** argv)
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.size() == 2 && arguments[0] == "--sample") {
        writeSample(arguments[1]);
        return 0;
    }
    if (arguments.size() != 4) {
        std::fputs("usage: smooth DATAFILE VARIABLE mean|median|SIGMA PICTURE.pgm\n"
                   "       smooth --sample DATAFILE\n",
            stderr);
        return 2;
    }
    const MutableFloatArray image = asObjectArray(readVariable(arguments[0], arguments[1]));
    if (image.IsEmpty())
        return fail(arguments[0] + " has no array " + arguments[1]);
    MutableFloatArray smoothed(image.m(), image.n(), image.o());
    if (!applyFilter(arguments[2], image, smoothed))
        return fail("the filter " + arguments[2] + " doesn't take this array");
    if (!writePicture(arguments[3], image, smoothed))
        return fail(arguments[3] + " can't be written");
    return 0;
}
