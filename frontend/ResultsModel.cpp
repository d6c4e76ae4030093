#include "frontend/ResultsModel.h"

#include "frontend/ShownText.h"

#include <utility>

namespace talvek {

namespace {

constexpr int kColumns = 3;
constexpr int kNameColumn = 1;

Qt::Alignment alignmentOf(int column)
{
    return Qt::AlignVCenter | (column == kNameColumn ? Qt::AlignLeft : Qt::AlignRight);
}

} // namespace

ResultsModel::ResultsModel(DataSource source, QObject* parent)
    : QAbstractTableModel(parent), m_source(std::move(source))
{}

QString ResultsModel::columnIdentifier(int column)
{
    return QString::number(column + 1);
}

void ResultsModel::reloadData()
{
    beginResetModel();
    m_rows = m_source.numberOfRows();
    endResetModel();
}

int ResultsModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_rows;
}

int ResultsModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : kColumns;
}

QVariant ResultsModel::data(const QModelIndex& index, int role) const
{
    if (role == Qt::DisplayRole) {
        return shownName(
            m_source.objectValue(columnIdentifier(index.column()), index.row()).toString());
    }
    return role == Qt::TextAlignmentRole ? QVariant::fromValue(alignmentOf(index.column()))
                                         : QVariant();
}

QVariant ResultsModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal) {
        return {};
    }
    if (role == Qt::TextAlignmentRole) {
        return QVariant::fromValue(alignmentOf(section));
    }
    if (role != Qt::DisplayRole) {
        return {};
    }
    switch (section) {
    case 0:
        return tr("No.");
    case kNameColumn:
        return tr("Name");
    default:
        return tr("Size (KiB)");
    }
}

} // namespace talvek
