#pragma once

#include <QStyledItemDelegate>

namespace talvek {

/// Shows the lines of a view in colours of their own, whether they are selected or not. Main
/// thread.
class StateDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;
};

} // namespace talvek
