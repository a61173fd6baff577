#pragma once

#include "toolkit/Menu.h"
#include "toolkit/TableArrangement.h"
#include "toolkit/View.h"

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

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
    virtual std::shared_ptr<Menu> contextMenuForTableRow(Table&, int) { return nullptr; }
};

// A column, known to the source by its identifier.
struct Column {
    enum class Cell { Text, Progress }; // Progress: a bar for a number from 0 to 100.
    enum class Alignment { Left, Right, Center };

    std::string identifier{};
    std::string title{};
    Cell cell = Cell::Text;
    Alignment alignment = Alignment::Left;
    bool isHidden = false; // Until the user asks for it.
};

// A table that asks its data source for what it shows. Source and delegate are borrowed and must be taken
// away before they go.
class Table : public View {
public:
    TableDataSource* dataSource() const { return source_; }
    void setDataSource(TableDataSource*);
    void setDelegate(TableDelegate* delegate) { delegate_ = delegate; }

    const std::vector<Column>& columns() const { return columns_; }
    void setColumns(std::vector<Column>);
    const Column* column(std::string_view identifier) const; // Null when there is none.

    // The user's arrangement of the columns. It always names each column once: what is set is fitted to the
    // columns, and columns that it doesn't name come last.
    const TableArrangement& arrangement() const { return arrangement_; }
    void setArrangement(TableArrangement);
    bool isColumnHidden(std::string_view identifier) const;
    // The user. An empty arrangement is the usual one. The last visible column stays.
    void arrange(TableArrangement);
    void moveColumn(std::string_view identifier, int place);
    void hideColumn(std::string_view identifier, bool isHidden);
    void sortBy(const std::string& identifier); // Again: descending; a third time: the source's order.
    std::function<void()> whenArranged;
    // The user has changed the sorting; the source then changes its rows. A table without it isn't sorted.
    std::function<void()> whenSorted;

    // The number of rows as it was last noted: a row added since then isn't there yet.
    int numberOfRows() const { return rowCount_; }
    void noteNumberOfRowsChanged();
    void reloadData(); // Notes the number of rows as well, in the same notice.

    CellValue value(std::string_view column, int row) const;
    CellStyle styleForDisplay(std::string_view column, int row);
    std::shared_ptr<Menu> contextMenu(int row); // Null when there is none.

    // Rows outside of the table are left out. The delegate is notified at once when the selection is another
    // one afterwards.
    void selectRows(const std::set<int>& rows);
    const std::set<int>& selectedRows() const { return selection_; }
    int selectedRow() const; // The last selected row, -1 when there is none.
    // The visible columns of the selected rows, with a tab between cells and a line feed after each row.
    std::string selectionAsText() const;

    // The user has chosen a row by a double click or the Return key, which is selected then.
    std::function<void(int row)> whenActivated;

    // Moves the visible part, which is that of the enclosing view, by as little as shows the row.
    void scrollRowToVisible(int row);
    // The front end: the rows that are on display, whole or in part.
    struct VisibleRange {
        int first = 0;
        int count = 0;
        bool operator==(const VisibleRange&) const = default;
    };
    void setVisibleRange(VisibleRange);
    VisibleRange visibleRange() const;

    // What stands in the place of the rows while there are none.
    const std::string& placeholder() const { return placeholder_; }
    void setPlaceholder(std::string text) { set(placeholder_, std::move(text)); }
    double rowHeight() const { return rowHeight_; }
    void setRowHeight(double height) { set(rowHeight_, height); }

private:
    TableDataSource* source_ = nullptr;
    TableDelegate* delegate_ = nullptr;
    std::vector<Column> columns_;
    TableArrangement arrangement_;
    int rowCount_ = 0;
    double rowHeight_ = 17;
    std::string placeholder_;
    std::set<int> selection_;
};

// For a source that is shown by one table at a time: takes it away from the table that it holds, unless that
// has another source by now, and makes it the source of the next one. Either table may be null.
void moveSource(TableDataSource& source, Table*& held, Table* next);

} // namespace toolkit
