#include "apps/desktop/widgets/TableWidget.h"

#include "apps/desktop/widgets/MenuWidget.h"
#include "apps/desktop/widgets/ProgressDelegate.h"
#include "apps/desktop/widgets/TableAdapter.h"
#include "apps/desktop/widgets/TableHeader.h"
#include "apps/desktop/widgets/Text.h"
#include "toolkit/Workspace.h"

#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QPainter>
#include <QScopedValueRollback>
#include <QScrollBar>
#include <algorithm>
#include <set>

TableWidget::TableWidget(toolkit::Table& table)
    : table_(&table), adapter_(new TableAdapter(table, this)), header_(new TableHeader(table, this))
{
    setHorizontalHeader(header_);
    setModel(adapter_);
    setItemDelegate(new ProgressDelegate(this));
    setAccessibleName(toQt(table.accessibleName()));
    setSelectionBehavior(SelectRows);
    setSelectionMode(ExtendedSelection);
    setTabKeyNavigation(false); // Tab leaves the table.
    setAlternatingRowColors(true);
    setShowGrid(false);
    setWordWrap(false);
    verticalHeader()->hide();
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed); // Many rows cost nothing that way.
    verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 6);
    header_->follow();
    setMinimumHeight(header_->sizeHint().height() + 3 * verticalHeader()->defaultSectionSize());
    tableObservation_ = table.observe([this](const toolkit::Change& change) { tableChanged(change); },
        [this] {
            const QScopedValueRollback following(isFollowingModel_, true);
            table_ = nullptr;
            adapter_->tableEnded();
            header_->tableEnded();
        });
    if (toolkit::View* clip = table.superview())
        clipObservation_ = clip->observe([this](const toolkit::Change&) { scrollToVisibleRows(); });
    connect(this, &QTableView::activated, this, [this](const QModelIndex& cell) {
        if (table_ && table_->whenActivated)
            table_->whenActivated(cell.row());
    });
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, [this] { reportVisibleRows(); });
    showSelection();
    showPlaceholder();
}

void TableWidget::tableChanged(const toolkit::Change& change)
{
    const QScopedValueRollback following(isFollowingModel_, true);
    adapter_->tableChanged(change);
    if (change.structure || change.value)
        header_->follow();
    if (change.selection || change.rows || change.structure)
        showSelection();
    showPlaceholder();
}

void TableWidget::showPlaceholder()
{
    const bool isEmpty = table_ && adapter_->rowCount() == 0;
    const QString text = isEmpty ? toQt(table_->placeholder()) : QString();
    if (text == accessibleDescription())
        return;
    setAccessibleDescription(text);
    viewport()->update();
}

void TableWidget::paintEvent(QPaintEvent* event)
{
    QTableView::paintEvent(event);
    if (accessibleDescription().isEmpty())
        return;
    QPainter painter(viewport());
    painter.setPen(palette().color(QPalette::PlaceholderText));
    painter.drawText(viewport()->rect(), Qt::AlignCenter | Qt::TextWordWrap, accessibleDescription());
}

void TableWidget::showSelection()
{
    if (!table_)
        return;
    const QScopedValueRollback following(isFollowingModel_, true);
    QItemSelection wanted;
    const int lastColumn = std::max(0, adapter_->columnCount() - 1);
    for (const int row : table_->selectedRows())
        wanted.select(adapter_->index(row, 0), adapter_->index(row, lastColumn));
    selectionModel()->select(wanted, QItemSelectionModel::ClearAndSelect);
    // The keys go on from the selected row, which may have moved.
    if (table_->selectedRows().size() == 1 && currentIndex().row() != table_->selectedRow())
        selectionModel()->setCurrentIndex(
            adapter_->index(table_->selectedRow(), std::max(0, currentIndex().column())),
            QItemSelectionModel::NoUpdate);
}

// Without this the key of a menu would win.
bool TableWidget::event(QEvent* event)
{
    if (event->type() == QEvent::ShortcutOverride
        && static_cast<QKeyEvent*>(event)->matches(QKeySequence::Copy))
        event->accept();
    return QTableView::event(event);
}

void TableWidget::keyPressEvent(QKeyEvent* event)
{
    if (!event->matches(QKeySequence::Copy))
        QTableView::keyPressEvent(event);
    else if (const auto& copy = toolkit::Workspace::shared().setPasteboardText; copy && table_)
        copy(table_->selectionAsText());
}

void TableWidget::selectionChanged(const QItemSelection& selected, const QItemSelection& deselected)
{
    QTableView::selectionChanged(selected, deselected);
    if (!table_ || isFollowingModel_)
        return;
    std::set<int> rows;
    for (const QModelIndex& cell : selectionModel()->selectedRows())
        rows.insert(cell.row());
    table_->selectRows(rows);
}

void TableWidget::contextMenuEvent(QContextMenuEvent* event)
{
    const bool byKey = event->reason() == QContextMenuEvent::Keyboard;
    const QModelIndex cell = byKey ? currentIndex() : indexAt(event->pos());
    const auto menu = table_ && cell.isValid() ? table_->contextMenu(cell.row()) : nullptr;
    if (!menu)
        return;
    auto* shown = new MenuWidget(menu, this);
    shown->setAttribute(Qt::WA_DeleteOnClose);
    shown->popup(byKey ? viewport()->mapToGlobal(visualRect(cell).bottomLeft()) : event->globalPos());
}

void TableWidget::resizeEvent(QResizeEvent* event)
{
    QTableView::resizeEvent(event);
    reportVisibleRows();
}

void TableWidget::reportVisibleRows()
{
    if (!table_ || isFollowingModel_)
        return;
    const int height = std::max(1, verticalHeader()->defaultSectionSize());
    const int first = std::max(0, rowAt(0));
    table_->setVisibleRange({first, viewport()->height() / height});
}

void TableWidget::scrollToVisibleRows()
{
    if (!table_)
        return;
    const QScopedValueRollback following(isFollowingModel_, true);
    const auto wanted = table_->visibleRange();
    const int height = std::max(1, verticalHeader()->defaultSectionSize());
    if (wanted.count > 0 && rowAt(0) != wanted.first && adapter_->rowCount() > viewport()->height() / height)
        scrollTo(adapter_->index(wanted.first, 0), PositionAtTop);
}
