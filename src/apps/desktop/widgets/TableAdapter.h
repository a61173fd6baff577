#pragma once

#include "toolkit/Table.h"

#include <QAbstractTableModel>

// Shows a toolkit table in a Qt view. Rows and cells are asked of the model each time; the adapter keeps
// nothing but the row count that it last announced, because Qt must never learn of a row in the middle of
// something else. What the table shows may end before the adapter does.
class TableAdapter final : public QAbstractTableModel {
public:
    TableAdapter(toolkit::Table& table, QObject* parent);

    // The number from 0 to 100 of a cell that draws a bar.
    static constexpr int kProgressRole = Qt::UserRole;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& cell, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    // Everything that has changed since the last turn of the main loop.
    void tableChanged(const toolkit::Change& change);
    void tableEnded();

private:
    const toolkit::Column& column(int index) const { return columns_[static_cast<std::size_t>(index)]; }
    void announceRows(int rows);
    QVariant cellStyle(const toolkit::Column& column, int row, int role) const;

    toolkit::Table* table_; // Null once it has ended.
    std::vector<toolkit::Column> columns_; // As announced.
    int announcedRows_ = 0;
};
