#include "frontend/DeepRecoveryController.h"
#include "frontend/DeepResultsModel.h"
#include "frontend/PreviewView.h"
#include "frontend/ProgressBar.h"
#include "ui_DeepResultsView.h"

#include <QDialog>
#include <QFileInfo>
#include <QLocale>

// Saving what a deep recovery gave, its report, and the way back.

namespace talvek {

namespace {

constexpr int kButtonsPage = 0;
constexpr int kSavingPage = 1;

QString sizeText(qint64 bytes)
{
    return QLocale().formattedDataSize(bytes, 1, QLocale::DataSizeIecFormat);
}

} // namespace

void DeepRecoveryController::showSaving()
{
    Ui::DeepResultsView& ui = *m_resultsView;
    const bool isSaving = m_saver->isSaving();
    const bool hasChanged = ui.deepFoot->currentIndex() != (isSaving ? kSavingPage : kButtonsPage);
    if (hasChanged && isSaving) {
        m_focusBeforeSaving = m_host.window->focusWidget();
    }
    ui.deepFoot->setCurrentIndex(isSaving ? kSavingPage : kButtonsPage);
    ui.deepSavingBar->setMaxValue(static_cast<double>(m_saver->totalBytes()));
    ui.deepSavingBar->setDoubleValue(static_cast<double>(m_saver->copiedBytes()));
    ui.deepSavingLabel->setText(m_saver->isCancelling() ? tr("Stopping…") : tr("Saving…"));
    ui.deepSavedLabel->setText(
        tr("%1 of %2").arg(sizeText(m_saver->copiedBytes()), sizeText(m_saver->totalBytes())));
    if (hasChanged) {
        // The button that had the focus is not to be seen meanwhile.
        QWidget* next = isSaving ? ui.deepCancelSaveButton : m_focusBeforeSaving.data();
        (next != nullptr ? next : ui.saveEverythingButton)->setFocus();
    }
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
    for (QPushButton* button :
         {m_resultsView->deepBackButton, m_resultsView->saveEverythingButton}) {
        button->setAccessibleDescription(QString());
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
