#include "apps/console/DataPlace.h"
#include "apps/console/Following.h"
#include "apps/console/Numbers.h"
#include "apps/console/TablePrinter.h"
#include "apps/console/Terminal.h"
#include "apps/console/Verbs.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <map>
#include <utility>

namespace {

// The variables as a table of the toolkit.
class VariablesTable : public toolkit::TableDataSource {
public:
    explicit VariablesTable(const DataFileContent& content) : content_(content)
    {
        table_.setColumns(SVFileContent::columns());
        table_.setDataSource(this);
    }
    const toolkit::Table& table() const { return table_; }

    int numberOfRowsInTableView(const toolkit::Table&) override { return static_cast<int>(content_.count()); }
    toolkit::CellValue objectValueForTableColumn(
        const toolkit::Table&, std::string_view column, int row) override
    {
        return content_.cell(column, static_cast<std::size_t>(row));
    }

private:
    const DataFileContent& content_;
    toolkit::Table table_;
};

int widthOfOutput()
{
    const auto& output = terminal::Output::standard();
    return output.isTerminal ? output.size().columns : 0;
}

bool writeAsJson(const DataFileContent& content)
{
    JsonRowWriter writer;
    for (std::size_t row = 0; row < content.count(); ++row) {
        const KRVariableRecord& record = *content.records()[row];
        auto times = nlohmann::ordered_json::array();
        for (const double time : record.times().asNumbers())
            times.push_back(jsonNumber(StorageNumber(time)));
        const auto& structure = record.structure();
        if (!writer.add({{"Name", record.name()}, {"Type", record.type()},
                {"Information", content.cell("Information", row)}, {"Time Values", std::move(times)},
                {"Structure",
                    structure ? nlohmann::ordered_json(structure->description())
                              : nlohmann::ordered_json()}}))
            return false;
    }
    return writer.finish();
}

// Prints the rows that are new or have changed since the last call.
class NewRows {
public:
    bool write(const DataFileContent& content)
    {
        std::vector<int> rows;
        for (std::size_t row = 0; row < content.count(); ++row) {
            std::string& known = shown_[content.cell("Name", row)];
            std::string now = content.cell("Type", row) + "\n" + content.cell("Information", row);
            if (known != now)
                rows.push_back(static_cast<int>(row));
            known = std::move(now);
        }
        if (rows.empty())
            return true;
        VariablesTable table(content);
        const TablePrinter printer(table.table());
        const bool isFirst = std::exchange(isFirst_, false);
        return terminal::write(
            isFirst ? printer.text(widthOfOutput()) : printer.lines(rows, widthOfOutput()));
    }

private:
    std::map<std::string, std::string> shown_; // Type and information by name.
    bool isFirst_ = true;
};

bool show(const DataPlace& place, const DataFileContent& content, bool json)
{
    if (json)
        return writeAsJson(content);
    if (content.count() == 0)
        return terminal::write(place.sentenceAboutNothing() + "\n");
    const VariablesTable source(content);
    return terminal::write(TablePrinter(source.table()).text(widthOfOutput()));
}

int follow(DataPlace& place)
{
    std::shared_ptr<DataFileContent> content;
    NewRows rows;
    bool refused = false;
    bool over = false;
    content = place.read([&] { refused = refused || (content && !rows.write(*content)); });
    if (!content)
        return kNotDone;
    refused = !rows.write(*content);
    if (content->count() == 0)
        complain(fmt::format("{} announces no variables yet.", place.name()));
    const auto look = [&] {
        if (content->isBeingRead())
            return;
        // Checked before reading, so that the last read gets all that the run has written.
        over = place.task() && isOver(*place.task());
        content->update();
    };
    if (followUntil([&] { return refused || (over && !content->isBeingRead()); }, look))
        return kInterrupted;
    return refused ? kNotDone : kDone;
}

} // namespace

int variablesVerb(const VariablesOptions& options)
{
    const auto place = DataPlace::find(options.places);
    if (!place)
        return kWrongUse;
    if (options.follow)
        return follow(*place);
    const auto content = place->read();
    if (!content)
        return kNotDone;
    return show(*place, *content, options.json) && !place->isNotUnderstood(*content) ? kDone : kNotDone;
}
