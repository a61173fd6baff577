#include "task/application/VariablePlot.h"

#include <algorithm>
#include <optional>
#include <utility>

using toolkit::PlotContent;
using toolkit::PlotCurve;

namespace {

enum class Choice : std::size_t { Member, Step, Slice, Task }; // The sliders, in their order.

toolkit::Numbers numbersUpTo(std::size_t count)
{
    std::vector<double> numbers(count);
    for (std::size_t i = 0; i < count; ++i)
        numbers[i] = static_cast<double>(i);
    return std::make_shared<const std::vector<double>>(std::move(numbers));
}

} // namespace

// One round of readings at a time; a request meanwhile is answered by another round behind it. Rounds keep a
// weak hold, so that one that ends after its plot does nothing.
struct VariablePlot::State : std::enable_shared_from_this<VariablePlot::State> {
    explicit State(toolkit::Plot& shownIn) : plot(shownIn) { }

    void ask();
    void readSource(std::size_t index);
    void take(std::size_t index, const PlottedValue& value);
    void finish();
    void stop();
    void showSliders(bool hasImage);
    PlotContent contentOfCurves() const;
    PlotContent numbersOfTasks() const;
    bool areAllSingleNumbers() const;
    std::size_t position(Choice choice) const;
    PlottedValue::Choice chosen() const;

    toolkit::Plot& plot;
    std::string variable;
    std::vector<Source> sources;
    bool followsEnd = true; // Of the time steps.

    std::vector<Source> read; // By the round that is under way.
    std::vector<PlottedValue> values;
    std::size_t first = 0; // The source that is read first and shown where it has an image.
    std::size_t pending = 0;
    std::stop_source stopping; // Of the round's readings.
    bool mustAskAgain = false;
    bool isOther = false; // The variable, since the round has begun.
};

VariablePlot::VariablePlot(toolkit::Plot& plot) : state_(std::make_shared<State>(plot))
{
    plot.whenPositionChosen = [state = state_.get()] {
        const auto& sliders = state->plot.sliders();
        const auto& steps = sliders[static_cast<std::size_t>(Choice::Step)];
        state->followsEnd = steps.position + 1 >= steps.count();
        state->ask();
    };
}

VariablePlot::~VariablePlot()
{
    state_->stopping.request_stop();
    state_->plot.whenPositionChosen = nullptr;
}

void VariablePlot::show(const std::string& variable, std::vector<Source> sources)
{
    std::erase_if(sources, [](const Source& source) { return !source.content; });
    if (variable != state_->variable) {
        state_->followsEnd = true;
        state_->plot.setSliders({});
        state_->stop();
    } else if (std::any_of(state_->read.begin(), state_->read.end(), [&sources](const Source& source) {
                   return std::none_of(sources.begin(), sources.end(),
                       [&source](const Source& other) { return other.content == source.content; });
               })) {
        state_->stop(); // A file was deselected.
    }
    state_->variable = variable;
    state_->sources = std::move(sources);
    state_->ask();
}

void VariablePlot::clear()
{
    state_->variable.clear();
    state_->sources.clear();
    state_->stop();
    state_->plot.setSliders({});
    state_->plot.setContent(nullptr);
}

// What the round that is under way has read isn't shown.
void VariablePlot::State::stop()
{
    isOther = pending > 0;
    stopping.request_stop();
}

std::size_t VariablePlot::State::position(Choice choice) const
{
    const auto index = static_cast<std::size_t>(choice);
    return index < plot.sliders().size() ? plot.sliders()[index].position : 0;
}

PlottedValue::Choice VariablePlot::State::chosen() const
{
    return {followsEnd ? std::nullopt : std::optional(position(Choice::Step)), position(Choice::Slice),
        position(Choice::Member)};
}

void VariablePlot::State::ask()
{
    if (pending > 0) {
        mustAskAgain = true;
        return;
    }
    mustAskAgain = false;
    isOther = false;
    stopping = {};
    read = sources;
    values.assign(read.size(), {});
    if (read.empty())
        return plot.setContent(nullptr);
    first = std::min(position(Choice::Task), read.size() - 1);
    readSource(first);
}

void VariablePlot::State::readSource(std::size_t index)
{
    ++pending;
    read[index].content->readForPlot(variable, chosen(), stopping.get_token(),
        [weak = weak_from_this(), index](const PlottedValue& value) {
            if (const auto state = weak.lock())
                state->take(index, value);
        });
}

void VariablePlot::State::take(std::size_t index, const PlottedValue& value)
{
    --pending;
    values[index] = value;
    // Images are shown one at a time, so that those of the other tasks need no memory.
    if (index == first && !value.content.image && !isOther)
        for (std::size_t other = 0; other < read.size(); ++other)
            if (other != first)
                readSource(other);
    if (pending > 0)
        return;
    if (!isOther)
        finish();
    values.clear();
    read.clear();
    if (isOther || mustAskAgain)
        ask();
}

bool VariablePlot::State::areAllSingleNumbers() const
{
    return values.size() > 1 && std::all_of(values.begin(), values.end(), [](const PlottedValue& value) {
        return value.number || value.content.isEmpty();
    });
}

PlotContent VariablePlot::State::numbersOfTasks() const
{
    std::vector<std::pair<double, double>> numbers;
    for (std::size_t i = 0; i < values.size(); ++i)
        if (values[i].number)
            numbers.emplace_back(read[i].taskTime, *values[i].number);
    std::sort(numbers.begin(), numbers.end());
    std::vector<double> times;
    std::vector<double> heights;
    for (const auto& [time, number] : numbers) {
        times.push_back(time);
        heights.push_back(number);
    }
    PlotContent content{values[first].content.title, "Time of the task", ""};
    if (!times.empty())
        content.curves.push_back(
            PlotCurve::create("", PlotCurve::Kind::Line, std::move(times), std::move(heights)));
    return content;
}

PlotContent VariablePlot::State::contentOfCurves() const
{
    PlotContent content = values[first].content;
    content.curves.clear();
    for (std::size_t i = 0; i < values.size(); ++i)
        for (PlotCurve curve : values[i].content.curves) {
            if (values.size() > 1)
                curve.name = read[i].task + (curve.name.empty() ? "" : ": " + curve.name);
            if (content.curves.empty()) {
                content.xTitle = values[i].content.xTitle;
                content.yTitle = values[i].content.yTitle;
            }
            content.curves.push_back(std::move(curve));
        }
    return content;
}

void VariablePlot::State::showSliders(bool hasImage)
{
    const PlottedValue& shown = values[first];
    std::vector<double> tasks;
    for (const Source& source : read)
        tasks.push_back(source.taskTime);
    std::vector<toolkit::Plot::Slider> sliders{
        {"Member", numbersUpTo(shown.members.size()), shown.member, shown.members},
        {"Time", shown.times, shown.step}, {"Slice", numbersUpTo(shown.slices), shown.slice},
        {"Task", hasImage ? std::make_shared<const std::vector<double>>(std::move(tasks)) : nullptr, first}};
    if (mustAskAgain) // The user has moved on: his sliders stay where they are.
        for (std::size_t i = 0; i < std::min(sliders.size(), plot.sliders().size()); ++i)
            sliders[i].position = plot.sliders()[i].position;
    plot.setSliders(std::move(sliders));
}

void VariablePlot::State::finish()
{
    const bool hasImage = values[first].content.image.has_value();
    PlotContent content = hasImage ? values[first].content
        : areAllSingleNumbers()    ? numbersOfTasks()
                                   : contentOfCurves();
    if (hasImage && read.size() > 1)
        content.yTitle += " (task " + read[first].task + ")";
    showSliders(hasImage);
    plot.setContent(std::make_shared<const PlotContent>(std::move(content)));
}
