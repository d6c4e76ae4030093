#pragma once

#include "frontend/DeepResults.h"

#include <QAbstractItemModel>
#include <QVariant>

#include <memory>
#include <vector>

namespace talvek {

class Thumbnails;

/// The recovered layers as a tree: the whole picture, then the layers from the highest down, masks
/// beneath their layers, layers beneath their groups. Two columns: name with thumbnail, and state.
/// Main thread.
class DeepResultsModel : public QAbstractItemModel
{
    Q_OBJECT

public:
    static constexpr int kNameColumn = 0;
    static constexpr int kStateColumn = 1;

    /// @param thumbnails  outlives the model
    DeepResultsModel(Thumbnails& thumbnails, QObject* parent);

    /// Shows other results, or none.
    void setResults(std::shared_ptr<const DeepResults> results, bool isDark);
    /// The colours of states and thumbnails are made anew for another ground.
    void setDark(bool isDark);
    /// Null for an index that is not of this model.
    [[nodiscard]] const DeepItem* itemAt(const QModelIndex& index) const;
    /// Groups, the outermost first.
    [[nodiscard]] std::vector<QModelIndex> groups() const;

    /// What a line is called: "Whole picture", "Mask", or the layer's name.
    static QString titleOf(const DeepItem& item);
    /// Its state in a sentence: "Partial: 12 of 30 rows are lost."
    static QString stateSentence(const DeepItem& item);
    /// What stands in place of its picture when there is none.
    static QString wordsWithoutPicture(const DeepItem& item);
    /// Size, place, blending and such, in a line.
    static QString factsOf(const DeepItem& item);

    [[nodiscard]] QModelIndex index(int row, int column,
                                    const QModelIndex& parent = {}) const override;
    [[nodiscard]] QModelIndex parent(const QModelIndex& child) const override;
    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation,
                                      int role) const override;

private:
    [[nodiscard]] QVariant decoration(const DeepItem& item, int place, int column) const;
    [[nodiscard]] static QString accessibleText(const DeepItem& item, int column);
    [[nodiscard]] const std::vector<int>& childrenOf(int place) const;
    void thumbnailReady(int place);

    Thumbnails& m_thumbnails;
    std::shared_ptr<const DeepResults> m_results;
    bool m_isDark = false;
    std::vector<std::vector<int>> m_children; ///< of each item
    std::vector<int> m_roots;
    std::vector<int> m_rowOf; ///< of each item among its siblings
};

} // namespace talvek
