#pragma once

#include "engine/Repair.h"
#include "frontend/Bundle.h"
#include "frontend/Desktop.h"
#include "frontend/FileCopier.h"
#include "frontend/RepairRun.h"
#include "platform/FileManager.h"

#include <QElapsedTimer>
#include <QObject>
#include <QThreadPool>
#include <QTimer>

#include <atomic>
#include <memory>
#include <optional>

class QDialog;
class QKeySequence;
class QLabel;
class QLineEdit;
class QPushButton;
class QTableView;

namespace Ui {
class ImageViewWindow;
class MainWindow;
} // namespace Ui

namespace talvek {

class DeepRecoveryController;
class MainWindow;
class ProgressBar;
class PublishedList;
class ResultsModel;
class TabView;

/// The application's one controller: delegate of the application and of the main window, data
/// source of the results table, observer of the engine's notifications.
///
/// Everything here belongs to the main thread, but for `updateProgress`, which any thread may call,
/// and `saveFileAtPath_fromPath`, which works on the thread that copies. The argument of an action
/// is the control that sent it; only `checkForUpdate` looks at it, to tell the user's wish from
/// its own.
class TalvekRepairPSD_AppDelegate : public QObject
{
    Q_OBJECT

public:
    /// @param desktop  answers panels and alerts; outlives the controller
    /// @param system   the file system that repairs and saves work on; outlives the controller
    TalvekRepairPSD_AppDelegate(Desktop& desktop, Bundle bundle,
                                SystemCalls& system = SystemCalls::real());
    /// Gives up a repair that still runs, and waits for what is being copied.
    ~TalvekRepairPSD_AppDelegate() override;

    // Lifecycle and state of the screens.

    TalvekRepairPSD_AppDelegate* init();
    void setupInitialVariableState();
    void initialUISetup();
    void awakeFromNib();
    void applicationDidFinishLaunching();
    [[nodiscard]] bool windowShouldClose(const QWidget* sender) const;
    void windowWillClose();
    [[nodiscard]] QString getRepairedFilesPath() const;

    // Repair.

    void selectCorruptFile(QObject* sender);
    void repairFile(QObject* sender);
    void abortRepair(QObject* sender);
    void abortRepairOk(QObject* sender);
    void abortRepairCancel(QObject* sender);
    void couldNotRepair();
    /// The observer of "notif".
    void updateProgress(const UserInfo& notification);

    // Deep recovery.

    /// Recovers the chosen document, or, if there is none, one that is asked for.
    void deepRecoverFile(QObject* sender);
    /// Of the screens "4" and "5".
    [[nodiscard]] DeepRecoveryController& deepRecovery() const { return *m_deep; }

    // Results and preview.

    [[nodiscard]] int numberOfRowsInTableView(const QTableView* table) const;
    /// Invalid for a column of any identifier but "1", "2" and "3", and for a row that is not
    /// there.
    [[nodiscard]] QVariant tableView_objectValueForTableColumn_row(const QTableView* table,
                                                                   const QString& column,
                                                                   int row) const;
    void previewImage(QObject* sender);
    void doubleClicked(QObject* sender);
    void previewWithDictionary(const FileRecord& record);

    // Saving.

    void saveFile(QObject* sender);
    void saveFileAtPath_fromFileArray(const QString& folder,
                                      const std::vector<FileRecord>& records);
    /// Copies one file. @return true if it is whole; false also when the save was cancelled
    bool saveFileAtPath_fromPath(const std::string& destination, const std::string& source);
    void cancelSaving(QObject* sender);
    /// How many reads a file of that many bytes takes.
    static std::int64_t chunksOf(std::int64_t bytes);

    // Help, home, update.

    void help(QObject* sender);
    void homeScreen(QObject* sender);
    void checkForUpdate(QObject* sender);
    /// @param answer  is called from the event loop: true if the published version is another one
    void checkUpdate(std::function<void(bool)> answer);

    /// How long a server may take; ten seconds unless set.
    void setUpdateTimeOut(int milliseconds);

    /// A document that was dropped or that the desktop wants opened: as if chosen in the panel.
    void openDocument(const QString& path);
    /// What was dropped together: one document is opened, of several the user is told.
    void openDocuments(const QStringList& paths);
    /// Home as the user asks for it: results that were not saved are asked about first.
    void askForHome(QObject* sender);

    // Properties.

    [[nodiscard]] bool savingAbort() const { return m_savingAbort; }
    void setSavingAbort(bool abort) { m_savingAbort = abort; }
    [[nodiscard]] bool repairngAbort() const { return m_repairngAbort; }
    void setRepairngAbort(bool abort) { m_repairngAbort = abort; }
    [[nodiscard]] bool isRepairing() const { return m_isRepairing; }
    void setIsRepairing(bool repairing);
    [[nodiscard]] bool isSaving() const { return m_isSaving; }
    void setIsSaving(bool saving);
    [[nodiscard]] MainWindow* window() const { return m_window.get(); }
    [[nodiscard]] QWidget* imageViewWindow() const { return m_imageViewWindow.get(); }
    [[nodiscard]] QDialog* abortRepairWindow() const { return m_abortRepairWindow.get(); }
    /// Null until a document is chosen.
    [[nodiscard]] const QString& corruptFilePath() const { return m_corruptFilePath; }
    void setCorruptFilePath(const QString& path);
    [[nodiscard]] const QString& repairedFilesPath() const { return m_repairedFilesPath; }
    void setRepairedFilesPath(const QString& path) { m_repairedFilesPath = path; }
    [[nodiscard]] const QString& savePath() const { return m_savePath; }
    void setSavePath(const QString& path) { m_savePath = path; }
    using FileArray = std::optional<std::vector<FileRecord>>;
    [[nodiscard]] const FileArray& arrayFiles() const { return m_arrayFiles; }
    void setArrayFiles(FileArray files) { m_arrayFiles = std::move(files); }
    [[nodiscard]] std::uint64_t totalFilesSize() const { return m_totalFilesSize; } ///< bytes
    void setTotalFilesSize(std::uint64_t bytes) { m_totalFilesSize = bytes; }
    [[nodiscard]] const std::shared_ptr<Repair>& repair() const { return m_repair; }
    void setRepair(std::shared_ptr<Repair> repair) { m_repair = std::move(repair); }

    // Outlets, set when the layout is loaded; the windows own them.

    TabView* tabView = nullptr;
    QLineEdit* filePathTextField = nullptr;
    ProgressBar* repairProgressBar = nullptr;
    QLineEdit* sourcePathTextField = nullptr;
    QLabel* notificationTextField = nullptr;
    QPushButton* mainButton = nullptr;
    QTableView* tableView = nullptr;
    QLabel* savingNotificationLabel = nullptr;
    QPushButton* cancelSave = nullptr;
    QLineEdit* saveDestinationPath = nullptr;
    ProgressBar* saveProgressBar = nullptr;
    QThreadPool savingQueue; ///< one thread, so that one save follows the other

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // Windows, and what their controls do.
    void loadLayout();
    void loadWindows();
    void connectZoom(const Ui::ImageViewWindow& layout);
    void connectControls();
    void connectShortcuts();
    void connectKeysOfViews();
    void loadDeepScreens();
    void showDeepScreen(const QString& identifier);
    void addShortcut(const QKeySequence& keys, QWidget* control, std::function<void()> action);
    void addClicks(const QKeySequence& keys, const QStringList& buttonNames);
    void showImages();
    void showScreen(const QString& identifier);
    /// Enables what may be used now and puts it in words: the one place where the controls follow
    /// the state.
    void updateControls();
    void showRepairTime();
    void startClock();
    void stopClock();
    void showChoice();
    void showResultsSummary();
    [[nodiscard]] bool isOnScreen(const QString& identifier) const;
    [[nodiscard]] bool isBusy() const;
    [[nodiscard]] bool acceptsDocument() const;

    // A repair's course.
    void showChosen(const QString& path);
    void startRepair();
    [[nodiscard]] bool isInTemporaryFolder(const QString& path) const;
    void actOnNotification(const UserInfo& notification);
    void showProgress(const UserInfo& notification);
    void showCompletion(const UserInfo& notification);
    void runEnded();
    void withdrawAbortQuestion();
    void abandonRun();
    void removeRepairedFiles();

    // A save's course.
    void savePanelEnded(const SaveDestination& destination);
    [[nodiscard]] bool mayUseFolder(const QString& folder);
    [[nodiscard]] bool wouldReplaceDocument(const QString& folder) const;
    void saveInto(const QString& folder);
    void runDiskNotWritable();
    [[nodiscard]] std::uint64_t freeSizeAfterMaking(const std::string& folder);
    void beginSaving(const QString& folder, int files);
    CopyResult copyFiles(const std::string& folder, const std::vector<FileRecord>& records,
                         bool folderIsNew);
    void showFilesSaved(int files);
    void savingEnded(const CopyResult& result);
    void warnOfIncomplete(const QStringList& names);
    void answerUpdateCheck(std::function<void()> show);
    void showUpdateAnswer(bool isOther);
    void runAlert(const QString& title, const QString& message);

    Desktop& m_desktop;
    Bundle m_bundle;
    SystemCalls& m_system;
    FileManager m_files;
    int m_observer = 0;

    std::atomic<bool> m_savingAbort{false};
    bool m_repairngAbort = false;
    bool m_isRepairing = false;
    bool m_isSaving = false;
    std::unique_ptr<MainWindow> m_window;
    std::unique_ptr<QWidget> m_imageViewWindow;
    std::unique_ptr<QDialog> m_abortRepairWindow;
    QString m_corruptFilePath;
    QString m_repairedFilesPath;
    QString m_savePath;
    FileArray m_arrayFiles;
    std::uint64_t m_totalFilesSize = 0;
    std::shared_ptr<Repair> m_repair;

    std::shared_ptr<Engine> m_engine; ///< of which `repair` is a part
    std::unique_ptr<RepairRun> m_run; ///< until its thread has ended and was heard to the end
    bool m_repairWhenDrained = false; ///< the button was pressed while a given-up run still drains
    bool m_isCheckingForUpdate = false; ///< a check is under way, or its alert stands
    bool m_isCheckingForUser = false;   ///< and the user asked for it
    bool m_folderIsNew = false;         ///< the save makes its folder, and may delete it whole
    qint64 m_millisecondsRepaired = 0;  ///< until the clock was stopped last
    QElapsedTimer m_repairTime;         ///< since it was started, and only while it runs
    QTimer m_ticker;                    ///< once a second while a repair runs
    int m_clickedRow = -1;
    ResultsModel* m_results = nullptr;
    PublishedList* m_publishedList = nullptr;
    std::unique_ptr<DeepRecoveryController> m_deep;
};

} // namespace talvek
