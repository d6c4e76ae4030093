#include "frontend/DeepRecoveryController.h"

#include "frontend/DeepResultsModel.h"
#include "frontend/ProgressBar.h"
#include "frontend/SavePlace.h"
#include "frontend/ShownText.h"
#include "frontend/StateMark.h"
#include "frontend/TabView.h"
#include "frontend/Thumbnails.h"
#include "recovery/output/Verdict.h"
#include "ui_AbortRepairWindow.h"
#include "ui_DeepResultsView.h"
#include "ui_DeepRunView.h"

#include <QDialog>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>

#include <utility>

// Beginning a deep recovery, watching it and giving it up.

namespace talvek {

namespace {

constexpr int kMillisecondsASecond = 1000;
constexpr int kFieldMargin = 2;

/// The state that the recovery calls `word`, as the results screen calls it; empty: none yet.
QString pictureWord(const std::string& word)
{
    using recovery::State;
    for (const State state : {State::Whole, State::Unproved, State::Partial, State::Lost}) {
        if (word == recovery::output::wordFor(state)) {
            return StateMark::word(state);
        }
    }
    return {};
}

/// Empty for 0: nothing of it has been found yet.
QString number(std::uint64_t value)
{
    return value == 0 ? QString() : QLocale().toString(static_cast<qulonglong>(value));
}

/// A value that stands beside its caption, and is spoken with it.
void showFound(const QLabel* caption, QLabel* label, const QString& value)
{
    label->setText(value.isEmpty() ? QStringLiteral("–") : value);
    label->setAccessibleName(DeepRecoveryController::tr("%1: %2").arg(
        caption->text(), value.isEmpty() ? DeepRecoveryController::tr("none yet") : value));
}

} // namespace

DeepRecoveryController::DeepRecoveryController(Host host)
    : m_host(std::move(host)),
      m_runView(std::make_unique<Ui::DeepRunView>()),
      m_resultsView(std::make_unique<Ui::DeepResultsView>()),
      m_thumbnails(new Thumbnails(this)),
      m_model(new DeepResultsModel(*m_thumbnails, this)),
      m_saver(new DeepSaver(m_host.desktop, m_host.system, m_host.window, this))
{
    auto* runScreen = new QWidget;
    m_runView->setupUi(runScreen);
    m_host.tabView->addWidget(runScreen);
    auto* resultsScreen = new QWidget;
    m_resultsView->setupUi(resultsScreen);
    m_host.tabView->addWidget(resultsScreen);
    m_runView->foundList->setModel(&m_foundNames);
    // Flush with the labels above: the field keeps two pixels to itself.
    m_runView->deepSourceField->setTextMargins(-kFieldMargin, 0, 0, 0);
    setUpTree();
    loadStopWindow();
    connectControls();
    m_ticker.setInterval(kMillisecondsASecond);
    connect(&m_ticker, &QTimer::timeout, this, [this] { showTime(); });
    m_host.window->installEventFilter(this);
}

DeepRecoveryController::~DeepRecoveryController() = default;

/// The repair's question, in its own words.
void DeepRecoveryController::loadStopWindow()
{
    Ui::AbortRepairWindow layout;
    m_stopWindow = std::make_unique<QDialog>(m_host.window);
    layout.setupUi(m_stopWindow.get());
    m_stopWindow->setObjectName(QStringLiteral("DeepStopWindow"));
    m_stopWindow->setWindowTitle(tr("Stop the Deep Recovery?"));
    m_stopWindow->setWindowModality(Qt::ApplicationModal);
    layout.questionLabel->setText(tr("Stop the deep recovery?"));
    layout.explanationLabel->setText(
        tr("The recovery is paused. If you stop it now, what it has recovered so far is thrown "
           "away. Your document stays as it is."));
    layout.abortRepairOkButton->setObjectName(QStringLiteral("deepStopButton"));
    layout.abortRepairOkButton->setText(tr("&Stop recovery"));
    layout.abortRepairOkButton->setAccessibleName(tr("Stop recovery"));
    layout.abortRepairCancelButton->setObjectName(QStringLiteral("deepContinueButton"));
    layout.abortRepairCancelButton->setAccessibleName(tr("Continue recovery"));
    connect(layout.abortRepairOkButton, &QPushButton::clicked, this, [this] { abortConfirmed(); });
    connect(layout.abortRepairCancelButton, &QPushButton::clicked, this,
            [this] { abortWithdrawn(); });
    connect(m_stopWindow.get(), &QDialog::rejected, this, [this] { abortWithdrawn(); });
}

DeepFolder DeepRecoveryController::folder() const
{
    return {m_host.system, QFileInfo(m_host.repairedFilesPath()).absolutePath()};
}

bool DeepRecoveryController::isBusy() const
{
    return isRunning() || m_saver->isSaving();
}

void DeepRecoveryController::runAlert(const QString& title, const QString& message)
{
    m_host.desktop.runAlertPanel(m_host.window, {title, message, QStringLiteral("OK")});
}

bool DeepRecoveryController::canBeRead(const QString& path) const
{
    return QFileInfo(path).isFile() && FileManager(m_host.system)
                                           .openForReading(QFile::encodeName(path).toStdString())
                                           .isOpen();
}

void DeepRecoveryController::recover(const QString& path, const QString& returnScreen)
{
    if (isBusy()) {
        return;
    }
    if (path.isNull()) {
        runAlert(QStringLiteral("No File Selected"),
                 QStringLiteral("Please select a file to repair"));
        return;
    }
    // A document in the folder that is emptied first would be gone.
    if (!canBeRead(path) || isOrLiesIn(path, folder().path())) {
        runAlert(QStringLiteral("Invalid File"),
                 QStringLiteral("Please select another file to repair"));
        return;
    }
    if (!mayReplaceResults()) {
        return;
    }
    if (!folder().prepare()) {
        runAlert(tr("The folder “Deep recovery” cannot be made"),
                 tr("It stands beside the application, or in your cache folder. Please make sure "
                    "that there is room and that you may write there."));
        return;
    }
    m_returnScreen = returnScreen;
    start(path);
}

bool DeepRecoveryController::mayReplaceResults()
{
    const DeepFolder ours = folder();
    if (!ours.hasUnsavedResults()) {
        return true;
    }
    const AlertPanel question{tr("Replace the last deep recovery?"),
                              tr("Its results have not been saved. They are deleted when another "
                                 "one begins."),
                              tr("Keep them"),
                              tr("Replace"),
                              tr("Show folder"),
                              AlertAnswer::Default};
    const AlertAnswer answer = m_host.desktop.runAlertPanel(m_host.window, question);
    if (answer == AlertAnswer::Other) {
        m_host.desktop.openURL(QUrl::fromLocalFile(ours.path()));
    }
    return answer == AlertAnswer::Alternate;
}

void DeepRecoveryController::start(const QString& path)
{
    m_runView->deepSourceField->setText(tr("Source Path: %1").arg(path));
    m_runView->deepSourceField->setCursorPosition(0);
    m_runView->deepSourceField->setToolTip(shownInToolTip(path));
    m_isStopping = false;
    m_millisecondsRun = 0;
    startClock();
    showProgress(QString(), 0);
    showFindings({});
    m_run = std::make_unique<DeepRun>(m_host.system, QFile::encodeName(path).toStdString(),
                                      QFile::encodeName(folder().path()).toStdString(), listener());
    m_host.showScreen(QLatin1String(kRunScreen));
    updateControls();
    m_runView->deepAbortButton->setFocus();
}

/// Everything is queued behind what came before. A run is not replaced before its ending is heard,
/// so nothing that arrives can be of another one.
DeepRun::Listener DeepRecoveryController::listener()
{
    const auto queue = [this](auto action) {
        QMetaObject::invokeMethod(this, std::move(action), Qt::QueuedConnection);
    };
    return {
        [this, queue](const std::string& status, double percent) {
            queue([this, text = QString::fromStdString(status), percent] {
                showProgress(text, percent);
            });
        },
        [this, queue](const recovery::Findings& findings) {
            queue([this, findings] { showFindings(findings); });
        },
        [this, queue](const DeepEnding& ending) { queue([this, ending] { runEnded(ending); }); }};
}

void DeepRecoveryController::showProgress(const QString& status, double percent)
{
    m_percent = percent;
    m_runView->deepProgressBar->setDoubleValue(percent);
    m_runView->deepStatusLabel->setText(m_isStopping ? tr("Stopping…") : status);
    showTime();
}

void DeepRecoveryController::showTime()
{
    const qint64 running = m_time.isValid() ? m_time.elapsed() : 0;
    m_runView->deepPercentLabel->setText(shownProgress(m_percent, m_millisecondsRun + running));
}

void DeepRecoveryController::startClock()
{
    m_time.start();
    m_ticker.start();
}

void DeepRecoveryController::stopClock()
{
    m_ticker.stop();
    m_millisecondsRun += m_time.isValid() ? m_time.elapsed() : 0;
    m_time.invalidate();
}

void DeepRecoveryController::showFindings(const recovery::Findings& findings)
{
    const Ui::DeepRunView& ui = *m_runView;
    showFound(ui.canvasCaptionLabel, ui.canvasValueLabel,
              findings.width == 0
                  ? QString()
                  : tr("%1 × %2").arg(number(findings.width), number(findings.height)));
    showFound(ui.layersCaptionLabel, ui.layersValueLabel, number(findings.layers));
    showFound(ui.groupsCaptionLabel, ui.groupsValueLabel, number(findings.groups));
    showFound(ui.masksCaptionLabel, ui.masksValueLabel, number(findings.masks));
    showFound(ui.pictureCaptionLabel, ui.pictureValueLabel, pictureWord(findings.composite));
    showFound(ui.embeddedCaptionLabel, ui.embeddedValueLabel, number(findings.embedded));
    QStringList names;
    for (const std::string& name : findings.names) {
        names << (name.empty() ? tr("(no name)") : shownName(QString::fromStdString(name)));
    }
    if (names != m_foundNames.stringList()) {
        m_foundNames.setStringList(names);
    }
}

void DeepRecoveryController::abort()
{
    if (!m_run || m_isStopping) {
        return;
    }
    m_run->setPause(true);
    stopClock();
    showTime();
    m_stopWindow->show();
    m_stopWindow->raise();
    m_stopWindow->activateWindow();
}

void DeepRecoveryController::abortConfirmed()
{
    m_stopWindow->hide();
    if (!m_run) {
        return;
    }
    m_isStopping = true;
    m_run->stop();
    showProgress(QString(), m_percent);
    updateControls();
}

void DeepRecoveryController::abortWithdrawn()
{
    m_stopWindow->hide();
    if (m_run && !m_isStopping) {
        m_run->setPause(false);
        startClock();
    }
}

void DeepRecoveryController::runEnded(const DeepEnding& ending)
{
    // A run that is over cannot be stopped any more.
    m_stopWindow->hide();
    stopClock();
    m_run.reset();
    if (ending.kind == DeepEnding::Kind::Finished && !m_isStopping) {
        showResults(ending.results);
        return;
    }
    folder().remove();
    returnFromRun();
    if (ending.kind == DeepEnding::Kind::Failed && !m_isStopping) {
        runAlert(tr("The recovered files could not be written"),
                 tr("The disk that holds the application may be full. Make room there and try "
                    "again; your document is as it was."));
    }
}

void DeepRecoveryController::returnFromRun()
{
    m_isStopping = false;
    m_host.showScreen(std::exchange(m_returnScreen, {}));
    updateControls();
}

} // namespace talvek
