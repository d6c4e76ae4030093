#pragma once

#include "frontend/DeepFolder.h"
#include "frontend/DeepResults.h"
#include "frontend/DeepRun.h"
#include "frontend/DeepSaver.h"
#include "frontend/Desktop.h"

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QStringListModel>
#include <QTimer>

#include <functional>
#include <memory>

class QDialog;
class QPushButton;

namespace Ui {
class DeepResultsView;
class DeepRunView;
} // namespace Ui

namespace talvek {

class DeepResultsModel;
class TabView;
class Thumbnails;

/// The controller of the deep recovery's two screens: "4", on which it runs, and "5", its results.
///
/// The application's controller owns it, decides when a recovery may begin, and shows the screens;
/// what happens on them is settled here. Main thread.
class DeepRecoveryController : public QObject
{
    Q_OBJECT

public:
    /// What it needs of the application around it.
    struct Host
    {
        Desktop& desktop;
        SystemCalls& system;
        QWidget* window;
        TabView* tabView;
        std::function<void(const QString& identifier)> showScreen;
        /// Something has changed that other controls may depend on.
        std::function<void()> stateChanged;
        /// The folder into which the repair writes; ours stands beside it.
        std::function<QString()> repairedFilesPath;
    };

    static constexpr const char* kRunScreen = "4";
    static constexpr const char* kResultsScreen = "5";

    /// Adds its screens to the tab view. The host's objects outlive the controller.
    explicit DeepRecoveryController(Host host);
    /// Gives up a recovery that still runs, and waits for what is being copied.
    ~DeepRecoveryController() override;

    /// Recovers the document at `path`, if it can be read and the user lets results of before go.
    /// @param returnScreen  where Back, and a recovery that was stopped, lead
    void recover(const QString& path, const QString& returnScreen);
    /// A recovery runs, or its results are being saved.
    [[nodiscard]] bool isBusy() const;
    [[nodiscard]] bool isRunning() const { return m_run != nullptr; }
    /// The folder that the next recovery empties, absolute.
    [[nodiscard]] QString workingFolder() const { return folder().path(); }
    /// Where Back leads; empty when neither of the screens is in use.
    [[nodiscard]] const QString& returnScreen() const { return m_returnScreen; }
    /// Asks before results are left that nobody has saved. @return true if they may be left
    [[nodiscard]] bool mayLeave();
    /// Forgets the results and empties the screens, without asking.
    void leave();

    /// Pauses the run, and asks whether to stop it.
    void abort();
    void abortConfirmed();
    void abortWithdrawn();
    /// To the screen from which the recovery was begun, as the user asks for it.
    void back();
    void save(DeepSaver::What what);
    void openReport();

    [[nodiscard]] QDialog* stopWindow() const { return m_stopWindow.get(); }
    [[nodiscard]] const DeepResults* results() const { return m_results.get(); }

protected:
    /// Follows the window when it turns light or dark.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // Windows, and what their controls do.
    void loadStopWindow();
    void connectControls();
    void setUpTree();
    void updateControls();

    // A recovery's course.
    [[nodiscard]] DeepFolder folder() const;
    [[nodiscard]] bool canBeRead(const QString& path) const;
    [[nodiscard]] bool mayReplaceResults();
    void start(const QString& path);
    [[nodiscard]] DeepRun::Listener listener();
    void showProgress(const QString& status, double percent);
    void showFindings(const recovery::Findings& findings);
    void showTime();
    void startClock();
    void stopClock();
    void runEnded(const DeepEnding& ending);
    void returnFromRun();
    void runAlert(const QString& title, const QString& message);

    // Its results.
    void showResults(std::shared_ptr<const DeepResults> results);
    void showNothing();
    void showSelected();
    void showStateColor();
    [[nodiscard]] QString summary() const;
    void showSaving();
    void resultsSaved(DeepSaver::What what);
    [[nodiscard]] bool isDark() const;

    Host m_host;
    std::unique_ptr<Ui::DeepRunView> m_runView;
    std::unique_ptr<Ui::DeepResultsView> m_resultsView;
    std::unique_ptr<QDialog> m_stopWindow;
    QStringListModel m_foundNames;
    Thumbnails* m_thumbnails;
    DeepResultsModel* m_model;
    DeepSaver* m_saver;

    QString m_returnScreen;
    std::shared_ptr<const DeepResults> m_results;
    QPointer<QWidget> m_focusBeforeSaving; ///< gets it back
    bool m_isStopping = false;
    bool m_isSavedWhole = false; ///< everything: nothing would be lost with the folder
    double m_percent = 0;
    qint64 m_millisecondsRun = 0;   ///< until the clock was stopped last
    QElapsedTimer m_time;           ///< since it was started, and only while it runs
    QTimer m_ticker;                ///< once a second while a recovery runs
    std::unique_ptr<DeepRun> m_run; ///< until its thread has ended and was heard to the end
};

} // namespace talvek
