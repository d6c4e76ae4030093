#include "frontend/DeepRecoveryController.h"
#include "frontend/DeepResultsModel.h"
#include "frontend/PreviewView.h"
#include "frontend/ProgressBar.h"
#include "frontend/ShownText.h"
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

// What a deep recovery gave: the tree, the preview, saving, and the way back.

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
constexpr int kButtonsPage = 0;
constexpr int kSavingPage = 1;

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

QString sizeText(qint64 bytes)
{
    return QLocale().formattedDataSize(bytes, 1, QLocale::DataSizeIecFormat);
}

} // namespace

void DeepRecoveryController::setUpTree()
{
    QTreeView* tree = m_resultsView->layerTree;
    tree->setModel(m_model);
    tree->setIconSize(QSize(kThumbnailWidth, kThumbnailHeight));
    QHeaderView* header = tree->header();
    header->setStretchLastSection(false);
    header->setSectionsMovable(false);
    header->setSectionResizeMode(DeepResultsModel::kNameColumn, QHeaderView::Stretch);
    header->setSectionResizeMode(DeepResultsModel::kStateColumn, QHeaderView::Fixed);
    header->resizeSection(DeepResultsModel::kStateColumn, kStateColumnWidth);
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
        showSaving();
        updateControls();
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
        m_resultsView->deepBackButton->setFocus();
        return;
    }
    tree->setCurrentIndex(m_model->index(0, DeepResultsModel::kNameColumn));
    tree->setFocus();
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
        ui.layerPreview->clear();
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

void DeepRecoveryController::showSaving()
{
    Ui::DeepResultsView& ui = *m_resultsView;
    const bool isSaving = m_saver->isSaving();
    const bool hasChanged = ui.deepFoot->currentIndex() != (isSaving ? kSavingPage : kButtonsPage);
    ui.deepFoot->setCurrentIndex(isSaving ? kSavingPage : kButtonsPage);
    ui.deepSavingBar->setMaxValue(static_cast<double>(m_saver->totalBytes()));
    ui.deepSavingBar->setDoubleValue(static_cast<double>(m_saver->copiedBytes()));
    ui.deepSavingLabel->setText(m_saver->isCancelling() ? tr("Stopping…") : tr("Saving…"));
    ui.deepSavedLabel->setText(
        tr("%1 of %2").arg(sizeText(m_saver->copiedBytes()), sizeText(m_saver->totalBytes())));
    if (hasChanged) {
        // The button that had the focus is not to be seen any more.
        (isSaving ? ui.deepCancelSaveButton : ui.saveLayeredButton)->setFocus();
    }
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

void DeepRecoveryController::save(DeepSaver::What what)
{
    m_saver->save(what, m_results, {m_host.repairedFilesPath(), folder().path()});
}

void DeepRecoveryController::resultsSaved(DeepSaver::What what)
{
    // The pictures alone are no layered document, and that alone holds no embedded files.
    const bool isEnough =
        what == DeepSaver::What::Everything ||
        (what == DeepSaver::What::LayeredDocument && m_results->embeddedCount == 0);
    if (isEnough) {
        folder().markSaved();
    }
    m_isSavedWhole = m_isSavedWhole || what == DeepSaver::What::Everything;
}

void DeepRecoveryController::openReport()
{
    if (m_results) {
        m_host.desktop.openURL(
            QUrl::fromLocalFile(m_results->folder + QLatin1Char('/') + m_results->report));
    }
}

bool DeepRecoveryController::mayLeave()
{
    if (isBusy()) {
        return false;
    }
    if (!m_results || !folder().hasUnsavedResults()) {
        return true;
    }
    const AlertPanel question{tr("Leave without saving?"),
                              tr("The recovered files have not been saved. They stay in the folder "
                                 "“%1” until the next deep recovery begins.")
                                  .arg(QFileInfo(folder().path()).fileName()),
                              tr("Stay"),
                              tr("Leave"),
                              QString(),
                              AlertAnswer::Default};
    return m_host.desktop.runAlertPanel(m_host.window, question) == AlertAnswer::Alternate;
}

void DeepRecoveryController::leave()
{
    if (m_results && m_isSavedWhole) {
        // All of it is where the user wanted it; nobody needs it twice.
        folder().remove();
    }
    m_results.reset();
    m_isSavedWhole = false;
    m_returnScreen.clear();
    m_model->setResults(nullptr, isDark());
    m_resultsView->layerPreview->clear();
    updateControls();
}

void DeepRecoveryController::back()
{
    if (mayLeave()) {
        const QString screen = m_returnScreen;
        leave();
        m_host.showScreen(screen);
    }
}

} // namespace talvek
