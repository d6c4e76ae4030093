#include "tests/frontend/Journey.h"

#include "frontend/MainWindow.h"
#include "frontend/PreviewView.h"

#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QTableView>
#include <QtTest>

#include <algorithm>
#include <chrono>
#include <thread>

namespace talvek::test {

namespace {

constexpr int kWarmUpRepairs = 100;
// Where memory is watched by a sanitizer, it keeps what was freed and its own books; a leak is told
// by it, not by the growth.
constexpr qint64 kGrowthAllowed = qint64{TALVEK_IS_SANITIZED ? 64 : 6} << 20;

QString corpus()
{
    return qEnvironmentVariable("TALVEK_CORPUS", QStringLiteral(TALVEK_CORPUS_DEFAULT));
}

int repairsWanted()
{
    const int wanted = qEnvironmentVariableIntValue("TALVEK_REPAIRS");
    return wanted > 0 ? wanted : TALVEK_REPAIRS_DEFAULT;
}

qint64 residentBytes()
{
    constexpr qint64 kPageBytes = 4096;
    QFile file(QStringLiteral("/proc/self/statm"));
    return file.open(QIODevice::ReadOnly)
               ? file.readAll().split(' ').value(1).toLongLong() * kPageBytes
               : 0;
}

/// This process holds the file at `path` open.
bool isOpen(const QString& path)
{
    const QFileInfoList handles = QDir("/proc/self/fd").entryInfoList(QDir::Files | QDir::System);
    return std::any_of(handles.begin(), handles.end(),
                       [&path](const QFileInfo& handle) { return handle.symLinkTarget() == path; });
}

qsizetype openHandles()
{
    return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::AllEntries | QDir::System).size();
}

} // namespace

class Journeys : public Journey
{
protected:
    /// Copies a real document next to the bundle; null if there is none.
    [[nodiscard]] QString realDocument(const QString& name) const
    {
        const QString copy = path(name);
        return QFile::copy(corpus() + '/' + name, copy) ? copy : QString();
    }
    bool previewEveryRow()
    {
        auto* view = app->imageViewWindow()->findChild<PreviewView*>();
        for (int row = 0; row < app->tableView->model()->rowCount(); ++row) {
            app->tableView->selectRow(row);
            click("previewButton");
            if (!waitFor([view] { return !view->isBusy(); })) {
                return false;
            }
            shown += view->hasPicture() ? 1 : 0;
        }
        return true;
    }

    int shown = 0;
};

TEST_F(Journeys, ARealDocumentIsRepairedLookedAtAndSaved)
{
    launch();
    const QString document = realDocument("psd-tools--2layers.psd");
    if (document.isNull()) {
        GTEST_SKIP() << "no real documents at " << corpus().toStdString();
    }
    ASSERT_TRUE(repairToEnd(document));
    const int files = app->tableView->model()->rowCount();
    EXPECT_GT(files, 1);
    ASSERT_TRUE(previewEveryRow());
    EXPECT_GT(shown, 0);
    desktop.chosenDestination = SaveDestination{folder(), "Repaired PSD Files"};
    click("saveButton");
    ASSERT_TRUE(waitFor([this] { return !desktop.sheets.empty(); }));
    desktop.dismissSheet();
    EXPECT_EQ(QDir(path("Repaired PSD Files")).entryList(QDir::Files).size(), files);
    EXPECT_EQ(screen(), "0");
    EXPECT_FALSE(QDir(app->repairedFilesPath()).exists());
}

TEST_F(Journeys, AfterAnAbortTheNextDocumentIsRepaired)
{
    launch();
    choose(writeDocument("first.psd"));
    system.holdReads = true;
    click("repairButton");
    ASSERT_TRUE(waitFor([this] { return isWorking(); }));
    click("abortButton");
    app->abortRepairOk(nullptr);
    system.holdReads = false;
    ASSERT_TRUE(repairToEnd(writeDocument("second.psd")));
    EXPECT_EQ((*app->arrayFiles())[0].fileName, "second.psd_repaired");
}

TEST_F(Journeys, TheHomeButtonLeavesTheResultsForTheNextDocument)
{
    launch();
    ASSERT_TRUE(repairToEnd(writeDocument("first.psd")));
    desktop.alertAnswers = {AlertAnswer::Alternate};
    click("homeButton");
    EXPECT_EQ(screen(), "0");
    EXPECT_FALSE(QDir(app->repairedFilesPath()).exists());
    EXPECT_EQ(find<QLineEdit>("filePathTextField")->text(), "");
    ASSERT_TRUE(repairToEnd(writeDocument("second.psd")));
    EXPECT_EQ((*app->arrayFiles())[0].fileName, "second.psd_repaired");
}

TEST_F(Journeys, AfterAFailureAndAnInvalidFileAGoodOneIsRepaired)
{
    launch();
    system.freeBytesLeft = 0;
    choose(writeDocument("full.psd"));
    click("repairButton");
    ASSERT_TRUE(waitFor([this] { return !desktop.sheets.empty() && !app->isRepairing(); }));
    while (!desktop.undismissed.empty()) {
        desktop.dismissSheet();
    }
    system.freeBytesLeft = -1;
    choose(write("none.psd", "nothing"));
    click("repairButton");
    EXPECT_EQ(desktop.alertTitles(), QStringList("Invalid File"));
    EXPECT_TRUE(repairToEnd(writeDocument("good.psd")));
    EXPECT_EQ(screen(), "2");
}

TEST_F(Journeys, AQuitWhileAStoppedRepairDrainsEndsCleanly)
{
    launch();
    choose(writeDocument());
    system.holdReads = true;
    click("repairButton");
    ASSERT_TRUE(waitFor([this] { return isWorking(); }));
    app->abortRepair(nullptr);
    app->abortRepairOk(nullptr);
    EXPECT_TRUE(app->window()->close());
    system.holdReads = false;
    app.reset();
}

TEST_F(Journeys, AQuitWhileARepairRunsIsRefusedAndTheRepairGoesOn)
{
    constexpr int kStillRunning = 7;
    launch();
    choose(writeDocument());
    system.holdReads = true;
    click("repairButton");
    ASSERT_TRUE(waitFor([this] { return isWorking(); }));
    QTimer::singleShot(0, app.get(), [this] {
        QCoreApplication::quit();
        QTimer::singleShot(0, app.get(), [] { QCoreApplication::exit(kStillRunning); });
    });
    EXPECT_EQ(QCoreApplication::exec(), kStillRunning);
    EXPECT_TRUE(app->window()->isVisible());
    EXPECT_EQ(screen(), "1");
    system.holdReads = false;
    EXPECT_TRUE(waitFor([this] { return screen() == "2"; }));
}

TEST_F(Journeys, AQuitAfterARepairEndsTheApplication)
{
    launch();
    ASSERT_TRUE(repairToEnd(writeDocument()));
    QTimer::singleShot(0, app.get(), [] { QCoreApplication::quit(); });
    QTimer::singleShot(20'000, app.get(), [] { QCoreApplication::exit(1); });
    EXPECT_EQ(QCoreApplication::exec(), 0);
    EXPECT_FALSE(app->window()->isVisible());
    EXPECT_TRUE(QDir(app->repairedFilesPath()).exists());
}

TEST_F(Journeys, AControllerThatGoesWhileARepairRunsGivesItUp)
{
    launch();
    const QString document = writeDocument();
    choose(document);
    const QString output = app->repairedFilesPath();
    system.holdReads = true;
    click("repairButton");
    ASSERT_TRUE(waitFor([this] { return isWorking(); }));
    const std::shared_ptr<Repair> engine = app->repair();
    ASSERT_TRUE(waitFor([&] { return isOpen(document); }));
    std::thread reader([&] {
        while (!engine->stopflag()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        system.holdReads = false;
    });
    app.reset();
    reader.join();
    // The run is over, for its document is closed; it has written nothing after it was given up.
    EXPECT_FALSE(isOpen(document));
    EXPECT_TRUE(QDir(output).exists());
    EXPECT_TRUE(QDir(output).isEmpty());
}

TEST_F(Journeys, ManyRepairsLeaveNoMemoryNoHandleAndNoFolderBehind)
{
    launch();
    const QString document = writeDocument();
    qint64 bytes = 0;
    qsizetype handles = 0;
    for (int repair = 0; repair < kWarmUpRepairs + repairsWanted(); ++repair) {
        if (repair == kWarmUpRepairs) {
            bytes = residentBytes();
            handles = openHandles();
        }
        ASSERT_TRUE(repairToEnd(document)) << repair;
        app->homeScreen(nullptr);
        ASSERT_TRUE(waitFor([this] { return screen() == "0"; }));
    }
    drain();
    EXPECT_LE(openHandles(), handles);
    EXPECT_LT(residentBytes() - bytes, kGrowthAllowed);
    EXPECT_FALSE(QDir(app->repairedFilesPath()).exists());
}

} // namespace talvek::test
