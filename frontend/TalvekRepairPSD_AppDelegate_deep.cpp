#include "frontend/DeepRecoveryController.h"
#include "frontend/MainWindow.h"
#include "frontend/TabView.h"
#include "frontend/TalvekRepairPSD_AppDelegate.h"
#include "ui_MainWindow.h"

#include <QTableView>

// The way to the deep recovery and back; its screens have a controller of their own.

namespace talvek {

void TalvekRepairPSD_AppDelegate::loadDeepScreens()
{
    m_deep = std::make_unique<DeepRecoveryController>(DeepRecoveryController::Host{
        m_desktop, m_system, m_window.get(), tabView,
        [this](const QString& identifier) { showDeepScreen(identifier); },
        [this] { updateControls(); }, [this] { return m_repairedFilesPath; }});
}

/// One of its own, or the one that it returns to: there the keyboard goes where it came from.
void TalvekRepairPSD_AppDelegate::showDeepScreen(const QString& identifier)
{
    showScreen(identifier);
    if (identifier == QLatin1String("0")) {
        m_window->ui().deepButton->setFocus();
    } else if (identifier == QLatin1String("2")) {
        tableView->setFocus();
    }
}

void TalvekRepairPSD_AppDelegate::deepRecoverFile(QObject* /*sender*/)
{
    if (isBusy() || m_repairWhenDrained) {
        return;
    }
    if (!m_corruptFilePath.isNull()) {
        m_deep->recover(m_corruptFilePath, tabView->selectedIdentifier());
        return;
    }
    // Any file: the name of a document can be damaged too.
    m_desktop.beginOpenPanel(m_window.get(), OpenPanel{},
                             [this](const std::optional<QString>& path) {
                                 if (path && !isBusy()) {
                                     showChosen(*path);
                                     m_deep->recover(*path, tabView->selectedIdentifier());
                                 }
                             });
}

} // namespace talvek
