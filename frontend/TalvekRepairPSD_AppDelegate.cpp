#include "frontend/TalvekRepairPSD_AppDelegate.h"

#include "frontend/DeepRecoveryController.h"
#include "frontend/MainWindow.h"
#include "frontend/ProgressBar.h"
#include "frontend/PublishedList.h"
#include "frontend/ResultsModel.h"
#include "frontend/TabView.h"
#include "ui_MainWindow.h"

#include <QCoreApplication>
#include <QDialog>
#include <QDir>
#include <QFileInfo>
#include <QFileOpenEvent>
#include <QStandardPaths>
#include <QTimer>

#include <utility>

// Lifecycle and state.

namespace talvek {

namespace {

constexpr int kUpdateCheckDelayMilliseconds = 500;

/// A bundle that is installed for all users lies where nobody may write.
QString folderForRepairedFiles(const QString& besideBundle)
{
    if (QFileInfo(besideBundle).isWritable()) {
        return besideBundle;
    }
    QString cache = QStandardPaths::writableLocation(QStandardPaths::CacheLocation);
    QDir().mkpath(cache);
    return cache;
}

} // namespace

TalvekRepairPSD_AppDelegate::TalvekRepairPSD_AppDelegate(Desktop& desktop, Bundle bundle,
                                                         SystemCalls& system)
    : m_desktop(desktop), m_bundle(std::move(bundle)), m_system(system), m_files(system)
{
    savingQueue.setMaxThreadCount(1);
    m_publishedList = new PublishedList(this);
    init();
    loadLayout();
    awakeFromNib();
}

TalvekRepairPSD_AppDelegate::~TalvekRepairPSD_AppDelegate()
{
    NotificationCenter::defaultCenter().removeObserver(m_observer);
    m_run.reset();
    m_deep.reset();
    m_savingAbort = true;
    savingQueue.waitForDone();
}

TalvekRepairPSD_AppDelegate* TalvekRepairPSD_AppDelegate::init()
{
    m_repairedFilesPath = getRepairedFilesPath();
    setupInitialVariableState();
    return this;
}

QString TalvekRepairPSD_AppDelegate::getRepairedFilesPath() const
{
    const QDir folder(folderForRepairedFiles(m_bundle.containingFolder()));
    return folder.absoluteFilePath(QStringLiteral(".recovered files"));
}

void TalvekRepairPSD_AppDelegate::setupInitialVariableState()
{
    m_isRepairing = false;
    stopClock();
    m_isSaving = false;
    m_repairngAbort = false;
    m_savingAbort = false;
    m_totalFilesSize = 0;
    m_corruptFilePath = QString();
    m_arrayFiles.reset();
    m_savePath = QString();
    m_repair.reset();
    m_engine.reset();
}

void TalvekRepairPSD_AppDelegate::initialUISetup()
{
    filePathTextField->setText(QString());
    m_results->reloadData();
    updateControls();
}

void TalvekRepairPSD_AppDelegate::awakeFromNib()
{
    connect(tableView, &QTableView::doubleClicked, this, [this](const QModelIndex& index) {
        m_clickedRow = index.row();
        doubleClicked(tableView);
    });
    initialUISetup();
}

void TalvekRepairPSD_AppDelegate::applicationDidFinishLaunching()
{
    m_observer = NotificationCenter::defaultCenter().addObserver(
        "notif", [this](const UserInfo& notification) { updateProgress(notification); });
    QTimer::singleShot(kUpdateCheckDelayMilliseconds, this, [this] { checkForUpdate(nullptr); });
}

bool TalvekRepairPSD_AppDelegate::windowShouldClose(const QWidget* /*sender*/) const
{
    return !isBusy();
}

void TalvekRepairPSD_AppDelegate::windowWillClose()
{
    // From the event loop, so that the window has closed by then.
    QMetaObject::invokeMethod(
        this, [] { QCoreApplication::exit(0); }, Qt::QueuedConnection);
}

void TalvekRepairPSD_AppDelegate::setIsRepairing(bool repairing)
{
    m_isRepairing = repairing;
    stopClock();
    if (repairing) {
        m_millisecondsRepaired = 0;
        startClock();
    }
    updateControls();
}

void TalvekRepairPSD_AppDelegate::startClock()
{
    m_repairTime.start();
    m_ticker.start();
}

void TalvekRepairPSD_AppDelegate::stopClock()
{
    m_ticker.stop();
    m_millisecondsRepaired += m_repairTime.isValid() ? m_repairTime.elapsed() : 0;
    m_repairTime.invalidate();
}

void TalvekRepairPSD_AppDelegate::setIsSaving(bool saving)
{
    m_isSaving = saving;
    updateControls();
}

void TalvekRepairPSD_AppDelegate::setCorruptFilePath(const QString& path)
{
    m_corruptFilePath = path;
    updateControls();
}

bool TalvekRepairPSD_AppDelegate::isBusy() const
{
    return m_isRepairing || m_isSaving || m_deep->isBusy();
}

bool TalvekRepairPSD_AppDelegate::isOnScreen(const QString& identifier) const
{
    return tabView->selectedIdentifier() == identifier;
}

void TalvekRepairPSD_AppDelegate::showScreen(const QString& identifier)
{
    tabView->selectTabViewItemWithIdentifier(identifier);
    updateControls();
}

bool TalvekRepairPSD_AppDelegate::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::FileOpen) {
        openDocument(static_cast<QFileOpenEvent*>(event)->file());
        return true;
    }
    return QObject::eventFilter(watched, event);
}

void TalvekRepairPSD_AppDelegate::runAlert(const QString& title, const QString& message)
{
    m_desktop.runAlertPanel(m_window.get(), {title, message, QStringLiteral("OK")});
}

} // namespace talvek
