#pragma once

#include "toolkit/View.h"

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <variant>

namespace toolkit {

class Table;

// What a cell shows: nothing, a text, or a number for a cell that draws one (a progress bar).
using CellValue = std::variant<std::monostate, std::string, double>;

// The text of a cell as plain words; a number in its shortest form.
std::string cellText(const CellValue&);

class TableDataSource {
public:
    virtual ~TableDataSource() = default;
    virtual int numberOfRowsInTableView(const Table&) = 0;
    virtual CellValue objectValueForTableColumn(const Table&, std::string_view column, int row) = 0;
};

// How a cell is drawn beyond its value.
struct CellStyle {
    std::optional<std::string> font;
    std::optional<Color> background;
};

class TableDelegate {
public:
    virtual ~TableDelegate() = default;
    virtual void tableViewSelectionDidChange(Table&) { }
    virtual void willDisplayCell(Table&, CellStyle&, std::string_view, int) { }
};

// A table that asks its data source for what it shows. Source and delegate are borrowed and must be taken
// away before they go.
class Table : public View {
public:
    TableDataSource* dataSource() const { return source_; }
    void setDataSource(TableDataSource*);
    void setDelegate(TableDelegate* delegate) { delegate_ = delegate; }

    // The number of rows as it was last noted: a row added since then isn't there yet.
    int numberOfRows() const { return rowCount_; }
    void noteNumberOfRowsChanged();
    void reloadData(); // Notes the number of rows as well, and all of it is told once.
    int timesReloaded() const { return timesReloaded_; }

    CellValue value(std::string_view column, int row) const;
    CellStyle styleForDisplay(std::string_view column, int row);

    // Rows outside of the table are left out. The delegate is told when the selection is another one
    // afterwards.
    void selectRows(const std::set<int>& rows);
    const std::set<int>& selectedRows() const { return selection_; }
    int selectedRow() const; // The last selected row, -1 when there is none.

    void scrollRowToVisible(int row);
    int lastRowScrolledTo() const { return lastRowScrolledTo_; } // -1 when it was never scrolled.

    double rowHeight = 17;
    // The front end's: called after rows, data or selection changed.
    std::function<void()> whenChanged;

private:
    TableDataSource* source_ = nullptr;
    TableDelegate* delegate_ = nullptr;
    int rowCount_ = 0;
    int timesReloaded_ = 0;
    int lastRowScrolledTo_ = -1;
    std::set<int> selection_;
};

// For a source that is shown by one table at a time: takes it away from the table that it holds, unless that
// has another source by now, and makes it the source of the next one. Either table may be null.
void moveSource(TableDataSource& source, Table*& held, Table* next);

} // namespace toolkit
