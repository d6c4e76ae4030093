#pragma once

#include "frontend/DeepResultsModel.h"
#include "frontend/PreviewView.h"
#include "tests/frontend/DeepJourney.h"

#include <QCoreApplication>
#include <QEvent>
#include <QTreeView>

namespace talvek::test {

/// Journeys through the tree of recovered layers.
class DeepTree : public DeepJourney
{
protected:
    [[nodiscard]] QTreeView* tree() const { return find<QTreeView>("layerTree"); }
    [[nodiscard]] PreviewView* preview() const { return find<PreviewView>("layerPreview"); }

    /// Every line as "NAME: STATE", those that lie in another indented by a point each.
    [[nodiscard]] QStringList lines(const QModelIndex& parent = {},
                                    const QString& indent = {}) const
    {
        QStringList found;
        const QAbstractItemModel& model = *tree()->model();
        for (int row = 0; row < model.rowCount(parent); ++row) {
            const QModelIndex name = model.index(row, 0, parent);
            found << indent + name.data().toString() + ": " +
                         name.siblingAtColumn(1).data().toString();
            found << lines(name, indent + ".");
        }
        return found;
    }
    [[nodiscard]] QModelIndex line(const QString& name) const
    {
        const auto found = tree()->model()->match(tree()->model()->index(0, 0), Qt::DisplayRole,
                                                  name, 1, Qt::MatchExactly | Qt::MatchRecursive);
        return found.value(0);
    }
    bool select(const QString& name)
    {
        tree()->setCurrentIndex(line(name));
        return waitFor([this] { return preview()->hasPicture() && !preview()->isBusy(); });
    }
    void turn(const char* appearance) const
    {
        qputenv("TALVEK_APPEARANCE", appearance);
        QEvent event(QEvent::ThemeChange);
        QCoreApplication::sendEvent(app->window(), &event);
    }
    /// The lowest layer has lost the last rows of its first colour.
    static Document withLostRows()
    {
        Document document = threeLayers().build();
        const auto& channel = document.records[0].channels[1];
        document.zeroFill(channel.data + channel.length - 60, 60);
        return document;
    }
    [[nodiscard]] const DeepItem& item(const QString& name) const
    {
        return *static_cast<const DeepResultsModel*>(tree()->model())->itemAt(line(name));
    }
};

} // namespace talvek::test
