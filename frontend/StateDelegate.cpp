#include "frontend/StateDelegate.h"

namespace talvek {

void StateDelegate::initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const
{
    QStyledItemDelegate::initStyleOption(option, index);
    // Without it a selection turns every text into the colour of selected ones.
    option->palette.setBrush(QPalette::HighlightedText, option->palette.brush(QPalette::Text));
}

} // namespace talvek
