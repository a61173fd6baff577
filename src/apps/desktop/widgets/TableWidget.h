#pragma once

#include "toolkit/Table.h"

#include <QTableView>

class TableAdapter;
class TableHeader;

// A toolkit table as a widget: cells, selection, context menus, and the part that is on display.
class TableWidget final : public QTableView {
public:
    explicit TableWidget(toolkit::Table& table); // May end before the widget does.

protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void tableChanged(const toolkit::Change& change);
    void showSelection();
    void showPlaceholder();
    void reportVisibleRows();
    void scrollToVisibleRows();

    toolkit::Table* table_; // Null once it has ended.
    TableAdapter* adapter_; // Owned by this, as a child.
    TableHeader* header_; // Likewise.
    bool isFollowingModel_ = false; // What changes now comes from the model, and isn't told back.
    toolkit::Model::Observation tableObservation_;
    toolkit::Model::Observation clipObservation_; // Of the view that says which part is visible.
};
