#include "apps/composition/PlotReading.h"

#include "apps/composition/ArrayDrawing.h"
#include "variables/structures/EntryNames.h"
#include "variables/structures/KRVariableStructure.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

namespace names = variables::names;
using toolkit::PlotCurve;

namespace {

constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();
constexpr std::size_t kNumbersBetweenLooks = 256; // At the request to stop.
constexpr int kMostNesting = 8; // Of groups whose members are listed.

// A variable or a member of a group in it: its type, and where its values are.
struct Part {
    std::string name; // Of a member: "outer/inner".
    std::string type;
    std::string ending; // Behind the place of the whole value.
};

class Reading {
public:
    Reading(const KRDataFile::Pointer& file, const KRVariableRecord& record, const PlotRequest& request)
        : file_(file), record_(record), request_(request),
          isNumbered_(file->contains(names::value(record.name(), 0)))
    { }

    void read()
    {
        const auto& structure = record_.structure();
        const bool isSeries = record_.type() == "Series" && structure && structure->seriesType();
        const auto shown = isSeries ? structure->seriesType() : structure;
        Part part{"", isSeries ? shown->type() : record_.type(), ""};
        if (shown && shown->isAGroup()) {
            std::vector<Part> members;
            listMembers(*shown, part, members, kMostNesting);
            if (members.empty())
                return;
            value_.member = std::min(request_.choice.member, members.size() - 1);
            for (const Part& member : members)
                value_.members.push_back(member.name);
            part = members[value_.member];
        }
        if (part.type == "Real Number")
            showNumbers(part);
        else
            showStep(part);
    }
    PlottedValue take() { return std::move(value_); }

private:
    static void listMembers(
        const KRVariableStructure& group, const Part& outer, std::vector<Part>& members, int levels)
    {
        for (std::size_t i = 0; levels > 0 && i < group.groupNames().size(); ++i) {
            const std::string& name = group.groupNames()[i];
            const auto& type = group.groupTypes()[i];
            const Part member{outer.name.empty() ? name : outer.name + "/" + name, type->type(),
                names::part(outer.ending, name)};
            if (type->isAGroup())
                listMembers(*type, member, members, levels - 1);
            else if (member.type == "Real Number" || member.type == "Table"
                || drawing::isOneArray(member.type))
                members.push_back(member);
        }
    }

    std::string placeOf(const Part& part, std::size_t step) const
    {
        const std::string whole =
            isNumbered_ ? names::value(record_.name(), static_cast<std::int64_t>(step)) : record_.name();
        return whole + part.ending;
    }

    double numberAt(const std::string& place) const
    {
        const auto end = file_->resolveNameAllowingRedirection(place);
        const auto number = end ? file_->readNumber(*end) : std::nullopt;
        return number ? number->doubleValue() : kNoNumber;
    }

    void showNumbers(const Part& part)
    {
        auto times = record_.times().asNumbers();
        std::vector<double> numbers;
        if (goesOn(times))
            numbers = *request_.earlier->y;
        while (!numbers.empty() && std::isnan(numbers.back())) // It wasn't there yet.
            numbers.pop_back();
        numbers.reserve(times.size());
        for (std::size_t k = numbers.size(); k < times.size(); ++k) {
            if (k % kNumbersBetweenLooks == 0 && request_.stop.stop_requested())
                return;
            numbers.push_back(numberAt(placeOf(part, k)));
        }
        if (numbers.size() == 1)
            value_.number = numbers.front();
        value_.content.xTitle = "Time";
        value_.content.curves.push_back(
            PlotCurve::create("", PlotCurve::Kind::Line, std::move(times), std::move(numbers)));
    }

    // Whether the times are those of the reading before and perhaps more.
    bool goesOn(const std::vector<double>& times) const
    {
        const auto& earlier = request_.earlier;
        return isNumbered_ && earlier && earlier->x->size() <= times.size()
            && std::equal(earlier->x->begin(), earlier->x->end(), times.begin());
    }

    void showStep(const Part& part)
    {
        auto times = std::make_shared<const std::vector<double>>(record_.times().asNumbers());
        if (times->empty() || request_.stop.stop_requested())
            return;
        value_.step = std::min(request_.choice.step.value_or(times->size() - 1), times->size() - 1);
        if (times->size() > 1)
            value_.times = std::move(times);
        const std::string place = placeOf(part, value_.step);
        if (part.type == "Table")
            showTable(place);
        else
            drawing::showArray(file_, part.type, place, storedRange(part), request_.choice, value_);
    }

    // Of all values of the variable; nothing where the file doesn't tell it.
    std::optional<toolkit::PlotRange> storedRange(const Part& part) const
    {
        const std::string place = names::valueRange(record_.name());
        if (!part.ending.empty() || !file_->contains(place))
            return std::nullopt;
        const auto ends = drawing::numbersAt(file_, place);
        return ends.size() == 2 ? std::optional(toolkit::PlotRange{ends[0], ends[1]}) : std::nullopt;
    }

    // A curve for each column of numbers, over the column "Time" or else the first one. Columns end with the
    // first one without a name: the stored count may be any number.
    void showTable(const std::string& place)
    {
        struct Column {
            std::string name;
            std::vector<double> numbers;
        };
        std::vector<Column> columns;
        for (std::int64_t k = 0; !request_.stop.stop_requested(); ++k) {
            const auto name = file_->contains(names::columnName(place, k))
                ? file_->readRawString(names::columnName(place, k))
                : std::nullopt;
            if (!name)
                break;
            const std::string values = names::column(place, k);
            if (file_->readRawString(names::listKind(values)) == "Number")
                columns.push_back({*name, drawing::numbersAt(file_, values)});
        }
        if (columns.empty())
            return;
        if (columns.size() == 1) {
            value_.content.xTitle = "Row";
            value_.content.curves.push_back(
                PlotCurve::overIndex(columns[0].name, std::move(columns[0].numbers)));
            return;
        }
        auto places = std::find_if(columns.begin(), columns.end(),
            [](const Column& column) { return column.name == "Time" || column.name == "time"; });
        if (places == columns.end())
            places = columns.begin();
        value_.content.xTitle = places->name;
        for (auto column = columns.begin(); column != columns.end(); ++column)
            if (column != places)
                value_.content.curves.push_back(PlotCurve::create(
                    column->name, PlotCurve::Kind::Line, places->numbers, std::move(column->numbers)));
    }

    const KRDataFile::Pointer& file_;
    const KRVariableRecord& record_;
    const PlotRequest& request_;
    const bool isNumbered_; // The values have places of their own, step by step.
    PlottedValue value_;
};

} // namespace

PlottedValue readPlottedValue(const KRDataFile::Pointer& file,
    const std::shared_ptr<const KRVariableRecord>& record, const PlotRequest& request)
{
    PlottedValue value;
    if (request.stop.stop_requested())
        return value;
    if (file && record) {
        Reading reading(file, *record, request);
        reading.read();
        value = reading.take();
        value.content.title = record->name();
        if (!value.members.empty())
            value.content.title += ": " + value.members[value.member];
    }
    if (value.content.isEmpty())
        value.content.note = record
            ? "There is nothing to draw of a value of the type " + record->type() + "."
            : "The file has no such variable.";
    return value;
}
