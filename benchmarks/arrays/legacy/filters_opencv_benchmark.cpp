// The yardstick: the same filters of OpenCV, on one thread. It reflects at the boundaries as the Gaussian
// does, and cuts nothing there as the mean and the median do; that makes no difference to the time.

#include <benchmark/benchmark.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <random>

namespace {

template <class T>
cv::Mat image()
{
    cv::Mat image(4096, 4096, cv::DataType<T>::type);
    std::mt19937 random(1);
    for (auto place = image.begin<T>(); place != image.end<T>(); ++place)
        *place = static_cast<T>(random() % 65536);
    return image;
}

template <class T, class Filter>
void run(benchmark::State& state, Filter filter)
{
    cv::setNumThreads(1);
    const cv::Mat from = image<T>();
    cv::Mat to = from.clone();
    for (auto _ : state) {
        filter(from, to);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<long>(from.total() * sizeof(T)));
}

void OpenCVMean3x3(benchmark::State& state)
{
    run<float>(state, [](const cv::Mat& from, cv::Mat& to) { cv::blur(from, to, {3, 3}); });
}

template <class T>
void OpenCVMedian3x3(benchmark::State& state)
{
    run<T>(state, [](const cv::Mat& from, cv::Mat& to) { cv::medianBlur(from, to, 3); });
}

void OpenCVGaussian5(benchmark::State& state)
{
    run<float>(state, [](const cv::Mat& from, cv::Mat& to) {
        cv::GaussianBlur(from, to, {5, 5}, 1, 1, cv::BORDER_REFLECT);
    });
}

BENCHMARK(OpenCVMean3x3)->Unit(benchmark::kMillisecond);
BENCHMARK(OpenCVMedian3x3<float>)->Unit(benchmark::kMillisecond);
BENCHMARK(OpenCVMedian3x3<std::uint16_t>)->Unit(benchmark::kMillisecond);
BENCHMARK(OpenCVGaussian5)->Unit(benchmark::kMillisecond);

} // namespace
