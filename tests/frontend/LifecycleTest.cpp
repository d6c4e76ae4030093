#include "frontend/QtDesktop.h"
#include "frontend/SavePanelDialog.h"
#include "frontend/TabView.h"
#include "tests/frontend/Journey.h"
#include "tests/frontend/OrdinaryUser.h"

#include <QAccessible>
#include <QDialog>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QTableView>
#include <QtTest>

namespace talvek::test {

class Lifecycle : public Journey
{};

TEST_F(Lifecycle, StartsAtHomeWithNothingChosen)
{
    launch();
    EXPECT_EQ(screen(), "0");
    EXPECT_EQ(app->filePathTextField->text(), "");
    EXPECT_EQ(app->tableView->model()->rowCount(), 0);
    EXPECT_TRUE(app->corruptFilePath().isNull());
}

TEST_F(Lifecycle, ClosingIsRefusedWhileTheEngineWorksAndAllowedAfterComplete)
{
    launch();
    app->setIsRepairing(true);
    EXPECT_FALSE(app->windowShouldClose(app->window()));
    EXPECT_FALSE(app->window()->close());
    postComplete({}, 0);
    EXPECT_TRUE(app->windowShouldClose(app->window()));
}

TEST_F(Lifecycle, ClosingIsAllowedAgainAfterUnrepair)
{
    launch();
    app->setIsRepairing(true);
    post({{"unrepair", std::string()}});
    EXPECT_TRUE(app->windowShouldClose(app->window()));
}

TEST_F(Lifecycle, ClosingIsRefusedWhileARealRepairRuns)
{
    launch();
    choose(writeDocument());
    system.heldReads = 0;
    click("repairButton");
    EXPECT_FALSE(app->window()->close());
    EXPECT_TRUE(waitFor([this] { return screen() == "2"; }));
    EXPECT_TRUE(app->windowShouldClose(app->window()));
}

TEST_F(Lifecycle, ClosingStaysRefusedAfterASaveUntilTheWayHome)
{
    launch();
    postComplete({writeSalvaged("a.psd", 10)}, 10);
    QDir().mkpath(path("out"));
    app->saveFileAtPath_fromFileArray(path("out"), *app->arrayFiles());
    EXPECT_FALSE(app->windowShouldClose(app->window()));
    ASSERT_TRUE(waitFor([this] { return desktop.sheets.size() == 1; }));
    EXPECT_FALSE(app->window()->close());
    desktop.dismissSheet();
    EXPECT_EQ(screen(), "0");
    EXPECT_FALSE(app->isSaving());
    EXPECT_TRUE(app->window()->close());
}

TEST_F(Lifecycle, ClosingEndsTheApplicationAndLeavesTheTemporaryFolder)
{
    launch();
    writeSalvaged("a.psd", 10);
    bool hasClosed = false;
    QTimer::singleShot(0, app.get(), [&] { hasClosed = app->window()->close(); });
    QTimer::singleShot(20'000, app.get(), [] { QCoreApplication::exit(1); });
    EXPECT_EQ(QCoreApplication::exec(), 0);
    EXPECT_TRUE(hasClosed);
    EXPECT_TRUE(QDir(app->repairedFilesPath()).exists());
}

TEST_F(Lifecycle, HomeResetsEverythingAndDeletesTheTemporaryFolder)
{
    launch();
    choose(writeDocument());
    postComplete({writeSalvaged("a.psd", 10)}, 10);
    app->setRepair(std::make_shared<Repair>());
    app->setSavePath("x");
    app->setSavingAbort(true);
    app->homeScreen(nullptr);
    EXPECT_EQ(screen(), "0");
    EXPECT_FALSE(QDir(app->repairedFilesPath()).exists());
    EXPECT_FALSE(app->isRepairing() || app->isSaving() || app->repairngAbort() ||
                 app->savingAbort());
    EXPECT_TRUE(app->corruptFilePath().isNull() && app->savePath().isNull());
    EXPECT_TRUE(!app->arrayFiles() && !app->repair() && app->totalFilesSize() == 0);
    EXPECT_EQ(app->filePathTextField->text(), "");
}

TEST_F(Lifecycle, TheTemporaryFolderStandsBesideTheBundleWhereverThatIs)
{
    launch();
    EXPECT_EQ(app->repairedFilesPath(), path(".recovered files"));
    QDir().mkpath(path("elsewhere"));
    const TalvekRepairPSD_AppDelegate moved(
        desktop, Bundle(path("elsewhere/Talvek PSD Repair.app")), system);
    EXPECT_EQ(moved.repairedFilesPath(), path("elsewhere/.recovered files"));
}

TEST_F(Lifecycle, ABundleInAFolderThatMayNotBeWrittenUsesTheCacheFolder)
{
    QDir().mkpath(path("opt"));
    ASSERT_TRUE(QFile::setPermissions(path("opt"), QFile::ReadOwner | QFile::ExeOwner));
    const OrdinaryUser user;
    const TalvekRepairPSD_AppDelegate installed(desktop, Bundle(path("opt/Talvek PSD Repair.app")),
                                                system);
    const QString cache = QStandardPaths::writableLocation(QStandardPaths::CacheLocation);
    EXPECT_EQ(installed.repairedFilesPath(), cache + "/.recovered files");
    EXPECT_TRUE(QDir(cache).exists());
}

TEST_F(Lifecycle, HomeIsEnabledOnlyWhenNeitherRepairingNorSaving)
{
    launch();
    EXPECT_TRUE(find<QWidget>("homeButton")->isEnabled());
    app->setIsRepairing(true);
    EXPECT_FALSE(find<QWidget>("homeButton")->isEnabled());
    app->setIsRepairing(false);
    app->setIsSaving(true);
    EXPECT_FALSE(find<QWidget>("homeButton")->isEnabled());
}

/// What a screen reader says of each control in the window that can have the focus.
void expectNames(const QWidget& window)
{
    int controls = 0;
    for (QWidget* control : window.findChildren<QWidget*>()) {
        if (control->focusPolicy() == Qt::NoFocus || control->objectName().startsWith("qt_")) {
            continue;
        }
        ++controls;
        const QAccessibleInterface* spoken = QAccessible::queryAccessibleInterface(control);
        EXPECT_TRUE(spoken != nullptr && !spoken->text(QAccessible::Name).isEmpty())
            << window.objectName().toStdString() << ": " << control->objectName().toStdString()
            << ", a " << control->metaObject()->className();
    }
    EXPECT_GT(controls, 0) << window.objectName().toStdString();
}

TEST_F(Lifecycle, EveryControlOfEveryWindowHasAnAccessibleName)
{
    launch();
    expectNames(*app->window());
    expectNames(*app->imageViewWindow());
    expectNames(*app->abortRepairWindow());
    expectNames(SavePanelDialog({"Save", "Repaired PSD Files"}, app->window()));
    QtDesktop real{Bundle(path("Talvek PSD Repair.app"))};
    real.beginAlertSheet(app->window(), {"text", "OK", "info_64"}, [] {});
    const auto* alert = app->window()->findChild<QMessageBox*>();
    ASSERT_NE(alert, nullptr);
    expectNames(*alert);
}

TEST_F(Lifecycle, WhatALabelShowsIsWhatIsSpoken)
{
    launch();
    int labels = 0;
    for (QLabel* label : app->window()->findChildren<QLabel*>()) {
        if (label->pixmap().isNull() && !label->objectName().startsWith("qt_")) {
            ++labels;
            label->setText("what is shown");
            const QAccessibleInterface* spoken = QAccessible::queryAccessibleInterface(label);
            EXPECT_TRUE(spoken != nullptr && spoken->text(QAccessible::Name) == "what is shown")
                << label->objectName().toStdString();
        }
    }
    EXPECT_GT(labels, 20);
}

} // namespace talvek::test
