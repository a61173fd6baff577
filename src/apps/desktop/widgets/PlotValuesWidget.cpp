#include "apps/desktop/widgets/PlotValuesWidget.h"

#include "apps/desktop/widgets/Text.h"

#include <QAbstractTableModel>
#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QKeyEvent>
#include <algorithm>
#include <utility>

namespace {

constexpr std::int64_t kMostLines = 20'000'000; // Of rows and of columns: a view keeps some bytes for each.
constexpr int kWidthOfNumber = 20; // Characters; the longest exact numbers have some more.
constexpr std::int64_t kMostCopied = 10'000'000; // Cells: a clipboard has to hold their text.

} // namespace

// Asks the model for each cell when it is seen. Sizes are those last announced.
class NumbersAdapter final : public QAbstractTableModel {
public:
    NumbersAdapter(const Adapter<toolkit::PlotValues>& values, QObject* parent)
        : QAbstractTableModel(parent), values_(values)
    { }
    int rowCount(const QModelIndex& = {}) const override { return rows_; }
    int columnCount(const QModelIndex& = {}) const override { return columns_; }
    QVariant data(const QModelIndex& cell, int role) const override
    {
        if (role == Qt::TextAlignmentRole)
            return QVariant(Qt::AlignRight | Qt::AlignVCenter);
        if (role != Qt::DisplayRole || !values_.model())
            return {};
        return toQt(values_.model()->text(cell.row(), cell.column()));
    }
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override
    {
        if (role != Qt::DisplayRole || !values_.model())
            return {};
        return orientation == Qt::Vertical ? QVariant(section)
                                           : QVariant(toQt(values_.model()->columnTitle(section)));
    }
    // More or less rows at the end keep selection and place.
    void follow(const toolkit::PlotValues& values)
    {
        announce(
            rows_, values.rows(), [this](int first, int last) { beginInsertRows({}, first, last); },
            [this](int first, int last) { beginRemoveRows({}, first, last); }, &NumbersAdapter::endInsertRows,
            &NumbersAdapter::endRemoveRows);
        announce(
            columns_, values.columns(), [this](int first, int last) { beginInsertColumns({}, first, last); },
            [this](int first, int last) { beginRemoveColumns({}, first, last); },
            &NumbersAdapter::endInsertColumns, &NumbersAdapter::endRemoveColumns);
        if (rows_ > 0 && columns_ > 0)
            Q_EMIT dataChanged(index(0, 0), index(rows_ - 1, columns_ - 1));
        if (columns_ > 0)
            Q_EMIT headerDataChanged(Qt::Horizontal, 0, columns_ - 1);
    }

private:
    template <class Insert, class Remove>
    void announce(int& count, std::int64_t wanted, Insert insert, Remove remove,
        void (NumbersAdapter::*inserted)(), void (NumbersAdapter::*removed)())
    {
        const int now = static_cast<int>(std::min(wanted, kMostLines));
        if (now > count) {
            insert(count, now - 1);
            count = now;
            (this->*inserted)();
        } else if (now < count) {
            remove(now, count - 1);
            count = now;
            (this->*removed)();
        }
    }

    const Adapter<toolkit::PlotValues>& values_;
    int rows_ = 0;
    int columns_ = 0;
};

PlotValuesWidget::PlotValuesWidget(toolkit::PlotValues& values)
    : adapter_(values), numbers_(new NumbersAdapter(adapter_, this))
{
    setModel(numbers_);
    setAccessibleName(toQt(values.accessibleName()));
    setTabKeyNavigation(false); // Tab leaves the table.
    setWordWrap(false);
    setSelectionMode(ContiguousSelection);
    for (QHeaderView* header : {horizontalHeader(), verticalHeader()})
        header->setSectionResizeMode(QHeaderView::Fixed); // Many rows and columns cost nothing that way.
    horizontalHeader()->setSectionResizeMode(QHeaderView::Interactive);
    horizontalHeader()->setDefaultSectionSize(
        fontMetrics().horizontalAdvance(QLatin1Char('0')) * kWidthOfNumber);
    verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 6);
    setContextMenuPolicy(Qt::ActionsContextMenu);
    addAction(tr("Copy"), [this] { copy(); });
    adapter_.follow([this](const toolkit::PlotValues& shown) { numbers_->follow(shown); });
}

QString PlotValuesWidget::selectedText() const
{
    QString text;
    for (const QItemSelectionRange& part : selectionModel()->selection()) {
        if (static_cast<std::int64_t>(part.height()) * part.width() > kMostCopied)
            continue;
        for (int row = part.top(); row <= part.bottom(); ++row)
            for (int column = part.left(); column <= part.right(); ++column)
                text += numbers_->index(row, column).data().toString()
                    + QLatin1Char(column < part.right() ? '\t' : '\n');
    }
    return text;
}

void PlotValuesWidget::copy() const
{
    if (const QString text = selectedText(); !text.isEmpty())
        QApplication::clipboard()->setText(text);
}

void PlotValuesWidget::keyPressEvent(QKeyEvent* event)
{
    if (event->matches(QKeySequence::Copy))
        copy();
    else
        QTableView::keyPressEvent(event);
}
