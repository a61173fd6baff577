#pragma once

#include "toolkit/Table.h"

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

// Shows a table of the toolkit as text or as JSON.
class TablePrinter {
public:
    // Shows these columns, in this order; without names all columns of the table.
    explicit TablePrinter(const toolkit::Table& table, const std::vector<std::string>& columns = {});

    // Shows only these rows, in this order. By default all rows are shown.
    void showRows(std::vector<int> rows) { rows_ = std::move(rows); }

    // The heading, then a line for each row. Columns are as wide as their content, but the lines are at most
    // `mostColumns` wide (0 for no limit).
    std::string text(int mostColumns) const;
    // The lines of some rows, aligned as those of text().
    std::string lines(const std::vector<int>& rows, int mostColumns) const;
    // An array of objects keyed by the column identifiers.
    nlohmann::ordered_json json() const;

private:
    std::vector<int> rows() const;
    std::vector<int> widths(int mostColumns) const;
    template <class TextOf>
    std::string line(const std::vector<int>& widths, const TextOf& textOf) const;
    std::string cell(const toolkit::Column& column, int row) const; // Progress as "42%".

    const toolkit::Table& table_; // Must outlive this.
    std::vector<toolkit::Column> columns_;
    std::optional<std::vector<int>> rows_;
};

// Writes a JSON array to standard output one row at a time. Both functions return false when standard output
// can't be written.
class JsonRowWriter {
public:
    bool add(const nlohmann::ordered_json& row);
    bool finish();

private:
    std::string unwritten_ = "[";
    bool hasRows_ = false;
};

// Writes JSON and a line end to standard output; false when it can't be written.
bool writeJson(const nlohmann::ordered_json& json);
