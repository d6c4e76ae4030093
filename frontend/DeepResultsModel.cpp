#include "frontend/DeepResultsModel.h"

#include "frontend/ShownText.h"
#include "frontend/StateMark.h"
#include "frontend/Thumbnails.h"

#include <QIcon>
#include <QLocale>
#include <QPixmap>

#include <utility>

namespace talvek {

namespace {

using Kind = DeepItem::Kind;
using recovery::State;

QString kindWord(const DeepItem& item)
{
    switch (item.kind) {
    case Kind::WholePicture:
        return DeepResultsModel::tr("picture");
    case Kind::Group:
        return DeepResultsModel::tr("group");
    case Kind::Mask:
        return DeepResultsModel::tr("mask");
    case Kind::Layer:
        break;
    }
    return DeepResultsModel::tr("layer");
}

/// An icon that a selection does not tint.
QIcon asItIs(const QImage& image)
{
    const QPixmap pixmap = QPixmap::fromImage(image);
    QIcon icon(pixmap);
    icon.addPixmap(pixmap, QIcon::Selected);
    return icon;
}

QString number(qint64 value)
{
    return QLocale().toString(value);
}

QString stateWord(const DeepItem& item)
{
    return item.isFlattened ? DeepResultsModel::tr("Made anew") : StateMark::word(item.state);
}

QString partialSentence(const DeepItem& item)
{
    if (item.lostRowCount > 0) {
        return DeepResultsModel::tr("Partial: %1 of %2 rows are lost.")
            .arg(number(item.lostRowCount), number(item.size.height()));
    }
    if (item.isInGray) {
        return DeepResultsModel::tr("Partial: some of its colours are lost, so it is shown in "
                                    "gray.");
    }
    if (item.lostTransparencyRows > 0) {
        return DeepResultsModel::tr("Partial: the transparency of %1 of %2 rows is lost; they are "
                                    "opaque.")
            .arg(number(item.lostTransparencyRows), number(item.size.height()));
    }
    if (item.isMaskDamaged) {
        return DeepResultsModel::tr("Partial: its mask is not whole.");
    }
    return item.isWithoutRecord
               ? DeepResultsModel::tr("Partial: its pixels are back; name and place are unknown.")
               : DeepResultsModel::tr("Partial: something of it is lost.");
}

QString lostSentence(const DeepItem& item)
{
    if (item.kind == Kind::Mask) {
        return DeepResultsModel::tr("Lost: nothing of the mask is left.");
    }
    if (item.isMaskDamaged && !item.picture.isEmpty()) {
        return DeepResultsModel::tr("Its mask is lost; its own pixels are there.");
    }
    return item.picture.isEmpty() ? DeepResultsModel::tr("Lost: only its name and place are left.")
                                  : DeepResultsModel::tr("Lost: one of its channels is gone.");
}

} // namespace

DeepResultsModel::DeepResultsModel(Thumbnails& thumbnails, QObject* parent)
    : QAbstractItemModel(parent), m_thumbnails(thumbnails)
{
    connect(&m_thumbnails, &Thumbnails::ready, this, &DeepResultsModel::thumbnailReady);
}

void DeepResultsModel::setResults(std::shared_ptr<const DeepResults> results, bool isDark)
{
    beginResetModel();
    m_thumbnails.clear();
    m_results = std::move(results);
    m_isDark = isDark;
    const std::size_t count = m_results ? m_results->items.size() : 0;
    m_children.assign(count, {});
    m_rowOf.assign(count, 0);
    m_roots.clear();
    for (std::size_t place = 0; place < count; ++place) {
        const int parent = m_results->items[place].parent;
        auto& siblings = parent < 0 ? m_roots : m_children[static_cast<std::size_t>(parent)];
        m_rowOf[place] = static_cast<int>(siblings.size());
        siblings.push_back(static_cast<int>(place));
    }
    endResetModel();
}

void DeepResultsModel::setDark(bool isDark)
{
    m_isDark = isDark;
    if (m_results) {
        emit dataChanged(index(0, kNameColumn), index(rowCount() - 1, kStateColumn));
    }
}

const DeepItem* DeepResultsModel::itemAt(const QModelIndex& index) const
{
    return index.isValid() && index.model() == this && m_results
               ? &m_results->items[index.internalId()]
               : nullptr;
}

const std::vector<int>& DeepResultsModel::childrenOf(int place) const
{
    return place < 0 ? m_roots : m_children[static_cast<std::size_t>(place)];
}

QModelIndex DeepResultsModel::index(int row, int column, const QModelIndex& parent) const
{
    const auto& children =
        childrenOf(parent.isValid() ? static_cast<int>(parent.internalId()) : -1);
    if (row < 0 || column < 0 || column > kStateColumn || parent.column() > kNameColumn ||
        static_cast<std::size_t>(row) >= children.size()) {
        return {};
    }
    return createIndex(row, column, static_cast<quintptr>(children[static_cast<std::size_t>(row)]));
}

QModelIndex DeepResultsModel::parent(const QModelIndex& child) const
{
    const DeepItem* item = itemAt(child);
    if (item == nullptr || item->parent < 0) {
        return {};
    }
    return createIndex(m_rowOf[static_cast<std::size_t>(item->parent)], kNameColumn,
                       static_cast<quintptr>(item->parent));
}

int DeepResultsModel::rowCount(const QModelIndex& parent) const
{
    if (parent.column() > kNameColumn) {
        return 0;
    }
    return static_cast<int>(
        childrenOf(parent.isValid() ? static_cast<int>(parent.internalId()) : -1).size());
}

int DeepResultsModel::columnCount(const QModelIndex& /*parent*/) const
{
    return kStateColumn + 1;
}

std::vector<QModelIndex> DeepResultsModel::groups() const
{
    std::vector<QModelIndex> found;
    for (std::size_t place = 0; m_results && place < m_results->items.size(); ++place) {
        if (m_results->items[place].kind == Kind::Group) {
            found.push_back(createIndex(m_rowOf[place], kNameColumn, quintptr{place}));
        }
    }
    return found;
}

QString DeepResultsModel::titleOf(const DeepItem& item)
{
    if (item.kind == Kind::WholePicture) {
        return tr("Whole picture");
    }
    if (item.kind == Kind::Mask) {
        return tr("Mask");
    }
    return item.name.isEmpty() ? tr("(no name)") : shownName(item.name);
}

QString DeepResultsModel::stateSentence(const DeepItem& item)
{
    if (item.kind == Kind::WholePicture && item.isFlattened) {
        return tr("Lost, and made anew from the layers.");
    }
    switch (item.state) {
    case State::Whole:
        return item.size.isEmpty() ? tr("Whole: all that is known of it is there.")
                                   : tr("Whole: every row is proved.");
    case State::Unproved:
        return tr("Unproved: every row is there, but nothing in the file can prove it.");
    case State::Partial:
        return partialSentence(item);
    case State::Lost:
        break;
    }
    return lostSentence(item);
}

QString DeepResultsModel::wordsWithoutPicture(const DeepItem& item)
{
    if (item.kind == Kind::Group) {
        return tr("A group has no picture of its own.\nSelect one of its layers.");
    }
    return item.size.isEmpty() ? tr("This layer has no pixels of its own.")
                               : tr("Nothing of its picture is left.");
}

QString DeepResultsModel::factsOf(const DeepItem& item)
{
    QStringList facts;
    if (item.kind == Kind::Group) {
        facts << tr("Group");
    } else if (item.size.isEmpty()) {
        facts << tr("No pixels of its own");
    } else {
        facts << tr("%1 × %2 pixels").arg(number(item.size.width()), number(item.size.height()));
        if (item.isWithoutRecord) {
            facts << tr("place unknown");
        } else if (item.kind != Kind::WholePicture) {
            facts << tr("at %1, %2").arg(number(item.place.x()), number(item.place.y()));
        }
    }
    if (item.kind == Kind::Layer && item.opacityPercent < 100) {
        facts << tr("opacity %1 %").arg(number(item.opacityPercent));
    }
    if (item.isHidden) {
        facts << tr("hidden");
    }
    return facts.join(QStringLiteral(" · "));
}

QString DeepResultsModel::accessibleText(const DeepItem& item, int column)
{
    return column == kNameColumn
               ? tr("%1, %2. %3 %4")
                     .arg(titleOf(item), kindWord(item), stateSentence(item), factsOf(item))
               : stateSentence(item);
}

QVariant DeepResultsModel::decoration(const DeepItem& item, int place, int column) const
{
    if (column == kStateColumn) {
        return StateMark::icon(item.state, m_isDark);
    }
    const QImage image = m_thumbnails.find(place, item.picture, item.lostRows);
    return asItIs(image.isNull() ? m_thumbnails.blank(item.kind == Kind::Group) : image);
}

QVariant DeepResultsModel::data(const QModelIndex& index, int role) const
{
    const DeepItem* item = itemAt(index);
    if (item == nullptr) {
        return {};
    }
    switch (role) {
    case Qt::DisplayRole:
        return index.column() == kNameColumn ? titleOf(*item) : stateWord(*item);
    case Qt::DecorationRole:
        return decoration(*item, static_cast<int>(index.internalId()), index.column());
    case Qt::ForegroundRole:
        return index.column() == kStateColumn ? QVariant(StateMark::color(item->state, m_isDark))
                                              : QVariant();
    case Qt::ToolTipRole:
        return shownInToolTip(index.column() == kNameColumn ? titleOf(*item)
                                                            : stateSentence(*item));
    case Qt::AccessibleTextRole:
        return accessibleText(*item, index.column());
    default:
        return {};
    }
}

QVariant DeepResultsModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) {
        return {};
    }
    return section == kNameColumn ? tr("Layer") : tr("State");
}

void DeepResultsModel::thumbnailReady(int place)
{
    if (m_results && static_cast<std::size_t>(place) < m_rowOf.size()) {
        const QModelIndex shown = createIndex(m_rowOf[static_cast<std::size_t>(place)], kNameColumn,
                                              static_cast<quintptr>(place));
        emit dataChanged(shown, shown, {Qt::DecorationRole});
    }
}

} // namespace talvek
