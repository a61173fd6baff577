#include "apps/desktop/widgets/TableAdapter.h"

#include "apps/desktop/widgets/Text.h"

#include <QColor>
#include <QLocale>
#include <algorithm>

namespace {

Qt::Alignment alignmentOf(const toolkit::Column& column)
{
    switch (column.alignment) {
    case toolkit::Column::Alignment::Right:
        return Qt::AlignRight | Qt::AlignVCenter;
    case toolkit::Column::Alignment::Center:
        return Qt::AlignCenter;
    case toolkit::Column::Alignment::Left:
        break;
    }
    return Qt::AlignLeft | Qt::AlignVCenter;
}

QString textOf(const toolkit::CellValue& value, const toolkit::Column& column)
{
    const auto* number = std::get_if<double>(&value);
    if (number && column.cell == toolkit::Column::Cell::Progress)
        return QString::number(static_cast<int>(std::clamp(*number, 0.0, 100.0))) + QLatin1Char('%');
    return toQt(toolkit::cellText(value));
}

} // namespace

TableAdapter::TableAdapter(toolkit::Table& table, QObject* parent)
    : QAbstractTableModel(parent), table_(&table), columns_(table.columns()),
      announcedRows_(table.numberOfRows())
{ }

int TableAdapter::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : announcedRows_;
}

int TableAdapter::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(columns_.size());
}

QVariant TableAdapter::data(const QModelIndex& cell, int role) const
{
    if (!table_ || !cell.isValid())
        return {};
    const toolkit::Column& shown = column(cell.column());
    switch (role) {
    case Qt::DisplayRole:
        return textOf(table_->value(shown.identifier, cell.row()), shown);
    case kProgressRole: {
        const auto value = table_->value(shown.identifier, cell.row());
        const auto* number = std::get_if<double>(&value);
        return number && shown.cell == toolkit::Column::Cell::Progress ? QVariant(*number) : QVariant();
    }
    case Qt::TextAlignmentRole:
        return QVariant(alignmentOf(shown));
    case Qt::BackgroundRole:
    case Qt::ForegroundRole:
        return cellStyle(shown, cell.row(), role);
    default:
        return {};
    }
}

QVariant TableAdapter::cellStyle(const toolkit::Column& shown, int row, int role) const
{
    const auto style = table_->styleForDisplay(shown.identifier, row);
    if (!style.background)
        return {};
    if (role == Qt::ForegroundRole)
        return QColor(Qt::black); // The tints are pale, whatever the theme is.
    return QColor::fromRgbF(static_cast<float>(style.background->red),
        static_cast<float>(style.background->green), static_cast<float>(style.background->blue));
}

QVariant TableAdapter::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || section < 0 || section >= columnCount())
        return {};
    if (role == Qt::DisplayRole)
        return toQt(column(section).title);
    return role == Qt::TextAlignmentRole ? QVariant(alignmentOf(column(section))) : QVariant();
}

void TableAdapter::tableChanged(const toolkit::Change& change)
{
    if (!table_)
        return;
    if (change.structure) {
        beginResetModel();
        columns_ = table_->columns();
        announcedRows_ = table_->numberOfRows();
        endResetModel();
        return;
    }
    announceRows(table_->numberOfRows());
    if ((change.data || change.rows) && announcedRows_ > 0 && !columns_.empty())
        Q_EMIT dataChanged(index(0, 0), index(announcedRows_ - 1, columnCount() - 1));
}

// A reset would lose selection and place.
void TableAdapter::announceRows(int rows)
{
    if (rows > announcedRows_) {
        beginInsertRows({}, announcedRows_, rows - 1);
        announcedRows_ = rows;
        endInsertRows();
    } else if (rows < announcedRows_) {
        beginRemoveRows({}, rows, announcedRows_ - 1);
        announcedRows_ = rows;
        endRemoveRows();
    }
}

void TableAdapter::tableEnded()
{
    table_ = nullptr;
    announceRows(0);
}
