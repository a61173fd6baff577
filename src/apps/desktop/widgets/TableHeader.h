#pragma once

#include "toolkit/Table.h"

#include <QHeaderView>
#include <vector>

// The titles of a table's columns. The user moves, widens, hides and shows columns here, and sorts by a
// click.
class TableHeader final : public QHeaderView {
public:
    TableHeader(toolkit::Table& table, QWidget* parent);

    void follow(); // Shows the columns as the table has them arranged.
    void tableEnded() { table_ = nullptr; }

protected:
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void reportOrder();
    void reportWidth(int section, int width);
    int sectionOf(std::string_view column) const;

    toolkit::Table* table_; // Null once it has ended.
    std::vector<toolkit::Column> columns_; // As shown, by section.
    toolkit::TableArrangement shown_;
    bool isFollowing_ = false; // What changes now comes from the table, and isn't told back.
};
