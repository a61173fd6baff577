#pragma once

#include "toolkit/Table.h"

#include <optional>
#include <string>

// The source of a table that shows a text file by line, as the window of a task has one. It keeps which file
// that is and tells the table when to look anew; there are no lines in it, for no front end of this program
// draws such a table. Main thread.
class KRBigTextFile : public toolkit::TableDataSource {
public:
    ~KRBigTextFile() override;

    // Null clears what is shown, an empty name does nothing, the same name as before reads what is new.
    void setFileName(const std::optional<std::string>& name);
    const std::optional<std::string>& fileName() const { return theFileName_; }
    void updateFileContent();
    // Makes this the table's source and takes it from a former one; null only takes it away. Borrowed.
    void setTable(toolkit::Table* table);

    int howManyLines() const { return 0; }
    int numberOfRowsInTableView(const toolkit::Table&) override { return howManyLines(); }
    toolkit::CellValue objectValueForTableColumn(
        const toolkit::Table&, std::string_view column, int row) override;

private:
    void tellTable();

    toolkit::Table* table_ = nullptr;
    std::optional<std::string> theFileName_;
};
