// Plots as a user waits for them, without a display: a curve of many points while it is zoomed, beside the
// bare plotting library with the same points; and a large field from its selection to its picture, beside
// reading the bytes of its file.

#include "BenchmarkMain.h"
#include "apps/composition/Composition.h"
#include "apps/desktop/widgets/MakeWidget.h"
#include "apps/desktop/widgets/PlotCanvas.h"
#include "arrays/sv/SVArray.h"
#include "datafile/SVDataFile.h"
#include "datafile/SVVariableWriter.h"
#include "platform/loop/MainLoop.h"
#include "task/application/VariablePlot.h"
#include "toolkit/Plot.h"

#include <QApplication>
#include <cmath>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <optional>
#include <unistd.h>

namespace {

constexpr int kPoints = 1'000'000;
constexpr long kSide = 10'000;
constexpr QSize kPlotSize(1000, 700);
constexpr double kLongest = 60; // Seconds.

std::vector<double> noisyWave()
{
    std::vector<double> numbers(kPoints);
    unsigned state = 1; // Of a small generator: the same numbers each time.
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        state = state * 1664525U + 1013904223U;
        numbers[i] = std::sin(1e-5 * static_cast<double>(i)) + 1e-10 * state;
    }
    return numbers;
}

bool runUntil(const std::function<bool()>& condition)
{
    return platform::MainLoop::main().runUntil(
        [&] {
            QApplication::processEvents();
            return condition();
        },
        kLongest);
}

// A plot on the screen.
struct Shown {
    Shown() : widget(makeWidget(plot)), canvas(widget->findChild<PlotCanvas*>())
    {
        widget->resize(kPlotSize);
        widget->show();
        QObject::connect(canvas, &QCustomPlot::afterReplot, canvas, [this] { ++drawings; });
        draw();
    }
    void draw() // Until what has changed is drawn.
    {
        const int before = drawings;
        runUntil([&] { return drawings > before; });
    }
    toolkit::Plot plot;
    std::unique_ptr<QWidget> widget;
    PlotCanvas* canvas;
    int drawings = 0;
};

void zoomCurve(benchmark::State& state)
{
    Shown shown;
    auto content = std::make_shared<toolkit::PlotContent>();
    content->curves.push_back(toolkit::PlotCurve::overIndex("wave", noisyWave()));
    shown.plot.setContent(content);
    shown.draw();
    int step = 0;
    for ([[maybe_unused]] auto _ : state) {
        shown.plot.zoom(++step % 20 < 10 ? 1.3 : 1 / 1.3);
        shown.draw();
    }
}
BENCHMARK(zoomCurve)->Unit(benchmark::kMillisecond);

void zoomCurveOfBareLibrary(benchmark::State& state)
{
    QCustomPlot plot;
    plot.resize(kPlotSize);
    plot.setNoAntialiasingOnDrag(true);
    plot.setPlottingHint(QCP::phFastPolylines);
    const auto numbers = noisyWave();
    QVector<double> x(kPoints);
    for (int i = 0; i < kPoints; ++i)
        x[i] = i;
    plot.addGraph()->setData(x, QVector<double>(numbers.begin(), numbers.end()), true);
    plot.graph()->setPen(QPen(Qt::blue, 0));
    plot.rescaleAxes();
    plot.show();
    int step = 0;
    for ([[maybe_unused]] auto _ : state) {
        const double factor = ++step % 20 < 10 ? 1 / 1.3 : 1.3;
        plot.xAxis->scaleRange(factor);
        plot.yAxis->scaleRange(factor);
        plot.replot();
        QApplication::processEvents();
    }
}
BENCHMARK(zoomCurveOfBareLibrary)->Unit(benchmark::kMillisecond);

void firstDrawingOfCurve(benchmark::State& state)
{
    Shown shown;
    const auto numbers = noisyWave();
    for ([[maybe_unused]] auto _ : state) {
        auto content = std::make_shared<toolkit::PlotContent>();
        content->curves.push_back(toolkit::PlotCurve::overIndex("wave", numbers));
        shown.plot.setContent(content);
        shown.draw();
    }
}
BENCHMARK(firstDrawingOfCurve)->Unit(benchmark::kMillisecond);

// The file of the large field, made once and removed in the end.
class FieldFile {
public:
    FieldFile()
    {
        SVMutableDoubleArray numbers(kSide, kSide);
        for (long j = 0; j < kSide; ++j)
            for (long i = 0; i < kSide; ++i)
                numbers(i, j) =
                    std::sin(1e-3 * static_cast<double>(i)) * std::cos(2e-3 * static_cast<double>(j));
        SVDataFile file(path_.c_str(), SVFile::NewReadWrite);
        SVVariableWriter writer(file);
        writer.Write("field", SVVariableValue(numbers));
        writer.Finish();
        file.Flush();
    }
    ~FieldFile() { std::filesystem::remove(path_); }
    const std::string& path() const { return path_; }
    void dropFromMemory() const // The next reading is one from the disk.
    {
        const int file = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
        ::fsync(file);
        ::posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
        ::close(file);
    }
    static const FieldFile& shared()
    {
        static const FieldFile file;
        return file;
    }

private:
    const std::string path_ =
        std::filesystem::temp_directory_path() / ("plot_benchmark_" + std::to_string(::getpid()) + ".svbin");
};

enum class Part : bool { FirstPicture, AllPixels };

// The file is open and its variables are listed; then one is selected. The argument tells whether the file
// comes from the disk.
void selectField(benchmark::State& state, Part part)
{
    const FieldFile& file = FieldFile::shared();
    const auto content = SVFileContent::scanner()(file.path(), [] {});
    runUntil([&] { return content->hasBeenRead(); });
    for ([[maybe_unused]] auto _ : state) {
        state.PauseTiming();
        {
            Shown shown;
            VariablePlot variable(shown.plot);
            if (state.range(0) != 0)
                file.dropFromMemory();
            state.ResumeTiming();
            variable.show("field", {{"0", 0, content}});
            if (!runUntil([&] { return shown.plot.content()->image.has_value(); }))
                state.SkipWithError("the field wasn't read");
            shown.draw();
            if (part == Part::AllPixels)
                runUntil([&] { return shown.canvas->isComplete(); });
            state.PauseTiming();
        }
        state.ResumeTiming();
    }
}
BENCHMARK_CAPTURE(selectField, toFirstPicture, Part::FirstPicture)
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5)
    ->UseRealTime();
BENCHMARK_CAPTURE(selectField, toAllPixels, Part::AllPixels)
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5)
    ->UseRealTime();

void readFileOfField(benchmark::State& state)
{
    const FieldFile& file = FieldFile::shared();
    std::vector<char> block(1 << 20);
    for ([[maybe_unused]] auto _ : state) {
        if (state.range(0) != 0) {
            state.PauseTiming();
            file.dropFromMemory();
            state.ResumeTiming();
        }
        const int descriptor = ::open(file.path().c_str(), O_RDONLY | O_CLOEXEC);
        while (::read(descriptor, block.data(), block.size()) > 0) { }
        ::close(descriptor);
    }
}
BENCHMARK(readFileOfField)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

// What a drawing of the field adds to the memory of the process.
double megabytesInUse()
{
    long pages = 0;
    std::ifstream facts("/proc/self/statm");
    facts >> pages >> pages;
    return static_cast<double>(pages) * static_cast<double>(::sysconf(_SC_PAGESIZE)) / 1e6;
}

void memoryOfField(benchmark::State& state)
{
    const auto content = SVFileContent::scanner()(FieldFile::shared().path(), [] {});
    runUntil([&] { return content->hasBeenRead(); });
    Shown shown;
    const double before = megabytesInUse();
    for ([[maybe_unused]] auto _ : state) {
        VariablePlot variable(shown.plot);
        variable.show("field", {{"0", 0, content}});
        runUntil([&] { return shown.plot.content()->image && shown.canvas->isComplete(); });
        shown.plot.zoom(4);
        shown.draw();
        runUntil([&] { return shown.canvas->isComplete(); });
        state.counters["MB"] = megabytesInUse() - before;
    }
}
BENCHMARK(memoryOfField)->Iterations(1);

} // namespace

int main(int argc, char** argv)
{
    ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication application(argc, argv);
    const Program program;
    return runBenchmarks(argc, argv);
}
