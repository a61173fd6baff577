#pragma once

#include "toolkit/Table.h"

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

// Shows a table of the toolkit as text or as JSON.
class TablePrinter {
public:
    // With these columns of the table, in this order; all of them when none is named.
    explicit TablePrinter(const toolkit::Table& table, const std::vector<std::string>& columns = {});

    // Shows these rows, in this order; without it all of them.
    void showRows(std::vector<int> rows) { rows_ = std::move(rows); }

    // Columns as wide as their content, in at most so many columns of the terminal (0 for no bound); the
    // heading first. An empty table has its heading alone.
    std::string text(int mostColumns) const;
    // An array of objects keyed by the column identifiers.
    nlohmann::ordered_json json() const;

private:
    std::vector<int> rows() const;
    std::string cell(const toolkit::Column& column, int row) const; // Progress as "42%".

    const toolkit::Table& table_; // Must outlive this.
    std::vector<toolkit::Column> columns_;
    std::optional<std::vector<int>> rows_;
};

// Writes an array of JSON to standard output row by row, as it comes. Both are false when it can't be
// written.
class JsonRowWriter {
public:
    bool add(const nlohmann::ordered_json& row);
    bool finish();

private:
    std::string unwritten_ = "[";
    bool hasRows_ = false;
};

// Writes JSON with a line end to standard output; false when it can't be written.
bool writeJson(const nlohmann::ordered_json& json);
