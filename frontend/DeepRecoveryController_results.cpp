#include "frontend/DeepRecoveryController.h"
#include "frontend/DeepResultsModel.h"
#include "frontend/PreviewView.h"
#include "frontend/ProgressBar.h"
#include "frontend/ShownText.h"
#include "frontend/StateDelegate.h"
#include "frontend/StateMark.h"
#include "frontend/Thumbnails.h"
#include "ui_DeepResultsView.h"
#include "ui_DeepRunView.h"

#include <QDialog>
#include <QEvent>
#include <QFileInfo>
#include <QHeaderView>
#include <QLocale>

#include <utility>

// What a deep recovery gave: the verdict, the tree and the preview.

namespace talvek {

namespace {

constexpr int kStateColumnWidth = 118;
constexpr int kThumbnailWidth = 48;
constexpr int kThumbnailHeight = 36;
constexpr int kTreeWidth = 360;
constexpr int kPreviewWidth = 460;
constexpr int kMostNameWidth = 420;
/// A tree of thousands of open groups would be slow and no help.
constexpr std::size_t kMostOpenGroups = 500;

QString modeName(recovery::ColorMode mode)
{
    using recovery::ColorMode;
    switch (mode) {
    case ColorMode::Bitmap:
        return DeepRecoveryController::tr("bitmap");
    case ColorMode::Grayscale:
        return DeepRecoveryController::tr("grayscale");
    case ColorMode::Indexed:
        return DeepRecoveryController::tr("indexed colour");
    case ColorMode::Rgb:
        return QStringLiteral("RGB");
    case ColorMode::Cmyk:
        return QStringLiteral("CMYK");
    case ColorMode::Multichannel:
        return DeepRecoveryController::tr("multichannel");
    case ColorMode::Duotone:
        return DeepRecoveryController::tr("duotone");
    case ColorMode::Lab:
        return QStringLiteral("Lab");
    }
    return {};
}

} // namespace

void DeepRecoveryController::setUpTree()
{
    QTreeView* tree = m_resultsView->layerTree;
    tree->setModel(m_model);
    tree->setItemDelegate(new StateDelegate(tree));
    tree->setIconSize(QSize(kThumbnailWidth, kThumbnailHeight));
    QHeaderView* header = tree->header();
    header->setStretchLastSection(false);
    header->setSectionsMovable(false);
    header->setSectionResizeMode(DeepResultsModel::kNameColumn, QHeaderView::Stretch);
    header->setSectionResizeMode(DeepResultsModel::kStateColumn, QHeaderView::Fixed);
    header->resizeSection(DeepResultsModel::kStateColumn, kStateColumnWidth);
    // The picture lies on the card itself, whose corners are round.
    m_resultsView->layerPreview->setBackgroundRole(QPalette::Button);
    m_resultsView->deepSplitter->setSizes({kTreeWidth, kPreviewWidth});
    m_resultsView->deepSplitter->setStretchFactor(0, 0);
    m_resultsView->deepSplitter->setStretchFactor(1, 1);
}

void DeepRecoveryController::connectControls()
{
    const auto wire = [this](QPushButton* button, auto action) {
        connect(button, &QPushButton::clicked, this, action);
    };
    Ui::DeepResultsView& ui = *m_resultsView;
    wire(m_runView->deepAbortButton, [this] { abort(); });
    wire(ui.deepBackButton, [this] { back(); });
    wire(ui.openReportButton, [this] { openReport(); });
    wire(ui.saveEverythingButton, [this] { save(DeepSaver::What::Everything); });
    wire(ui.savePicturesButton, [this] { save(DeepSaver::What::Pictures); });
    wire(ui.saveLayeredButton, [this] { save(DeepSaver::What::LayeredDocument); });
    wire(ui.deepCancelSaveButton, [this] { m_saver->cancel(); });
    connect(ui.deepFitButton, &QPushButton::clicked, ui.layerPreview, &PreviewView::zoomToFit);
    connect(ui.deepActualSizeButton, &QPushButton::clicked, ui.layerPreview,
            &PreviewView::showActualSize);
    connect(ui.layerTree->selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this] { showSelected(); });
    connect(ui.layerPreview, &PreviewView::pictureChanged, this, [this] { updateControls(); });
    connect(m_saver, &DeepSaver::changed, this, [this] {
        // Before anything of it gets the focus, for which it has to be enabled.
        updateControls();
        showSaving();
        m_host.stateChanged();
    });
    connect(m_saver, &DeepSaver::saved, this, [this](DeepSaver::What what) { resultsSaved(what); });
}

bool DeepRecoveryController::isDark() const
{
    constexpr int kHalfLight = 128;
    return m_host.window->palette().color(QPalette::Window).lightness() < kHalfLight;
}

void DeepRecoveryController::showResults(std::shared_ptr<const DeepResults> results)
{
    m_results = std::move(results);
    m_isSavedWhole = false;
    m_resultsView->verdictLabel->setText(m_results->verdict);
    // Screen readers speak of what has the focus.
    m_resultsView->layerTree->setAccessibleDescription(m_results->verdict);
    m_resultsView->deepSummaryLabel->setText(summary());
    m_thumbnails->setLook(QSize(kThumbnailWidth, kThumbnailHeight),
                          m_host.window->devicePixelRatioF(), isDark());
    m_model->setResults(m_results, isDark());
    QTreeView* tree = m_resultsView->layerTree;
    const auto groups = m_model->groups();
    for (std::size_t place = 0; place < groups.size() && place < kMostOpenGroups; ++place) {
        tree->expand(groups[place]);
    }
    m_resultsView->deepContents->setCurrentIndex(m_results->hasNothing ? 1 : 0);
    m_host.showScreen(QLatin1String(kResultsScreen));
    updateControls();
    const bool holdsSomething = !m_results->hasNothing || m_results->embeddedCount > 0;
    if (holdsSomething) {
        folder().markUnsaved();
    }
    if (m_results->hasNothing) {
        showNothing();
        return;
    }
    tree->setCurrentIndex(m_model->index(0, DeepResultsModel::kNameColumn));
    tree->setFocus();
}

/// Neither layers nor a picture; but the files that were placed in the document may be there.
void DeepRecoveryController::showNothing()
{
    Ui::DeepResultsView& ui = *m_resultsView;
    const int files = m_results->embeddedCount;
    const QString advice =
        tr("Your file is as it was. Look for another copy of it: an older save, a backup, the "
           "version history of a cloud folder, a mail attachment. If it came from a memory card "
           "or a download, get it from there once more.");
    ui.nothingTitleLabel->setText(
        files == 0   ? tr("What you can try")
        : files == 1 ? tr("One embedded file is back")
                     : tr("%1 embedded files are back").arg(QLocale().toString(files)));
    ui.nothingHintLabel->setText(
        files == 0 ? advice
                   : tr("“Save everything…” puts what was placed in the document into a folder.") +
                         QStringLiteral("\n\n") + advice);
    QPushButton* button = files == 0 ? ui.deepBackButton : ui.saveEverythingButton;
    button->setAccessibleDescription(m_results->verdict);
    button->setFocus();
}

QString DeepRecoveryController::summary() const
{
    const QLocale locale;
    QStringList facts{m_resultsView->deepSummaryLabel->fontMetrics().elidedText(
        shownName(QFileInfo(m_results->document).fileName()), Qt::ElideMiddle, kMostNameWidth)};
    if (!m_results->hasNothing) {
        facts << tr("%1 × %2 pixels")
                     .arg(locale.toString(m_results->size.width()),
                          locale.toString(m_results->size.height()))
              << modeName(m_results->mode) << tr("%1 bits").arg(m_results->depth);
    }
    if (m_results->embeddedCount > 0) {
        facts << (m_results->embeddedCount == 1
                      ? tr("1 embedded file")
                      : tr("%1 embedded files").arg(locale.toString(m_results->embeddedCount)));
    }
    return facts.join(QStringLiteral(" · "));
}

void DeepRecoveryController::showSelected()
{
    Ui::DeepResultsView& ui = *m_resultsView;
    const DeepItem* item = m_model->itemAt(ui.layerTree->currentIndex());
    ui.layerTitleLabel->setText(item != nullptr ? DeepResultsModel::titleOf(*item) : QString());
    ui.layerStateLabel->setText(item != nullptr ? DeepResultsModel::stateSentence(*item)
                                                : QString());
    ui.layerFactsLabel->setText(item != nullptr ? DeepResultsModel::factsOf(*item) : QString());
    if (item == nullptr || item->picture.isEmpty()) {
        ui.layerPreview->clear(item != nullptr ? DeepResultsModel::wordsWithoutPicture(*item)
                                               : QString());
    } else {
        ui.layerPreview->showFile(item->picture, DeepResultsModel::titleOf(*item));
        ui.layerPreview->setLostRows(item->lostRows, DeepResultsModel::stateSentence(*item));
    }
    ui.layerStateLabel->setToolTip(item != nullptr ? shownInToolTip(item->note) : QString());
    showStateColor();
    updateControls();
}

void DeepRecoveryController::showStateColor()
{
    const DeepItem* item = m_model->itemAt(m_resultsView->layerTree->currentIndex());
    m_resultsView->layerStateLabel->setStyleSheet(
        item == nullptr
            ? QString()
            : QStringLiteral("color: %1").arg(StateMark::color(item->state, isDark()).name()));
}

bool DeepRecoveryController::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::PaletteChange && watched == m_host.window) {
        m_thumbnails->setLook(QSize(kThumbnailWidth, kThumbnailHeight),
                              m_host.window->devicePixelRatioF(), isDark());
        m_model->setDark(isDark());
        showStateColor();
    }
    return QObject::eventFilter(watched, event);
}

void DeepRecoveryController::updateControls()
{
    Ui::DeepResultsView& ui = *m_resultsView;
    m_runView->deepAbortButton->setEnabled(isRunning() && !m_isStopping);
    const bool isIdle = m_results != nullptr && !isBusy();
    ui.deepBackButton->setEnabled(isIdle);
    ui.openReportButton->setEnabled(m_results != nullptr);
    ui.saveEverythingButton->setEnabled(isIdle);
    ui.savePicturesButton->setEnabled(isIdle && !m_results->pictures.empty());
    ui.saveLayeredButton->setEnabled(isIdle && !m_results->layeredDocument.isEmpty());
    ui.deepCancelSaveButton->setEnabled(m_saver->isSaving() && !m_saver->isCancelling());
    const bool hasPicture = ui.layerPreview->hasPicture();
    ui.deepFitButton->setEnabled(hasPicture);
    ui.deepActualSizeButton->setEnabled(hasPicture);
}

} // namespace talvek
