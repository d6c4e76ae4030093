#pragma once

#include <QAbstractTableModel>
#include <QVariant>

#include <functional>

namespace talvek {

/// Brings the results table's questions to its data source. Columns are told apart by their
/// identifiers, "1" to "3". It holds no data of its own.
class ResultsModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    struct DataSource
    {
        std::function<int()> numberOfRows;
        std::function<QVariant(const QString& columnIdentifier, int row)> objectValue;
    };

    ResultsModel(DataSource source, QObject* parent);

    static QString columnIdentifier(int column);
    /// The rows have changed, all of them.
    void reloadData();

    [[nodiscard]] int rowCount(const QModelIndex& parent) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation,
                                      int role) const override;

private:
    DataSource m_source;
    int m_rows = 0;
};

} // namespace talvek
