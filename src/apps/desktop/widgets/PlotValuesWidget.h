#pragma once

#include "apps/desktop/widgets/Adapter.h"
#include "toolkit/PlotValues.h"

#include <QTableView>

class NumbersAdapter;

// The numbers of a plot. Selected cells are copied as text, with tabs between the columns.
class PlotValuesWidget final : public QTableView {
public:
    explicit PlotValuesWidget(toolkit::PlotValues& values);

    QString selectedText() const; // The part of the table from the first to the last selected cell.

private:
    void copy() const;
    void keyPressEvent(QKeyEvent* event) override;

    Adapter<toolkit::PlotValues> adapter_;
    NumbersAdapter* numbers_; // Owned by this, as a child.
};
