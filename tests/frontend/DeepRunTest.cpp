#include "frontend/MainWindow.h"
#include "recovery/DeepRecovery.h"
#include "tests/frontend/DeepJourney.h"

#include <QDialog>
#include <QFile>
#include <QLabel>
#include <QListView>
#include <QPushButton>
#include <QtTest>

#include <atomic>
#include <chrono>
#include <thread>

namespace talvek::test {

class DeepRuns : public DeepJourney
{
protected:
    [[nodiscard]] QPushButton* stopButton(const char* name) const
    {
        return deep().stopWindow()->findChild<QPushButton*>(name);
    }
};

TEST_F(DeepRuns, WhatIsFoundAppearsWhileItRuns)
{
    launch();
    auto& center = NotificationCenter::defaultCenter();
    // Once, so that what it finds later does not hold it up again.
    std::atomic<bool> hasTold{false};
    const int token =
        center.addObserver(recovery::DeepRecovery::kFoundNotification, [&](const UserInfo&) {
            if (!hasTold.exchange(true)) {
                system.holdReads = true;
            }
        });
    choose(writeDamaged("poster.psd", threeLayers().build()));
    click("deepButton");
    auto* layers = find<QLabel>("layersValueLabel");
    EXPECT_TRUE(waitFor([&] { return layers->text() == "3"; }));
    EXPECT_EQ(screen(), "4");
    EXPECT_EQ(find<QListView>("foundList")->model()->index(0, 0).data().toString(), "sand");
    EXPECT_EQ(find<QLabel>("masksValueLabel")->text(), "1");
    EXPECT_EQ(layers->accessibleName(), "Layers: 3");
    EXPECT_EQ(find<QLabel>("groupsValueLabel")->accessibleName(), "Groups: none yet");
    center.removeObserver(token);
    system.holdReads = false;
    EXPECT_TRUE(waitFor([this] { return screen() == "5"; }));
    EXPECT_EQ(find<QLabel>("pictureValueLabel")->text(), "Whole");
}

TEST_F(DeepRuns, ClosingHomeAndOtherDocumentsAreRefusedWhileItRuns)
{
    startHeldRun();
    EXPECT_FALSE(app->window()->close());
    EXPECT_FALSE(app->windowShouldClose(app->window()));
    EXPECT_FALSE(find<QWidget>("homeButton")->isEnabled());
    app->openDocument(writeDocument("other.psd"));
    app->deepRecoverFile(nullptr);
    EXPECT_EQ(screen(), "4");
    EXPECT_TRUE(app->corruptFilePath().endsWith("poster.psd"));
    system.holdReads = false;
    EXPECT_TRUE(waitFor([this] { return screen() == "5"; }));
    EXPECT_TRUE(app->windowShouldClose(app->window()));
}

TEST_F(DeepRuns, AConfirmedAbortLeadsBackAndLeavesNothing)
{
    startHeldRun();
    click("deepAbortButton");
    ASSERT_TRUE(deep().stopWindow()->isVisible());
    QTest::mouseClick(stopButton("deepStopButton"), Qt::LeftButton);
    EXPECT_FALSE(deep().stopWindow()->isVisible());
    EXPECT_FALSE(find<QPushButton>("deepAbortButton")->isEnabled());
    system.holdReads = false;
    EXPECT_TRUE(waitFor([this] { return screen() == "0"; }));
    EXPECT_FALSE(QDir(workingFolder()).exists());
    EXPECT_TRUE(desktop.alerts.empty());
    EXPECT_TRUE(find<QWidget>("homeButton")->isEnabled());
}

TEST_F(DeepRuns, AWithdrawnAbortGoesOn)
{
    startHeldRun();
    click("deepAbortButton");
    QTest::mouseClick(stopButton("deepContinueButton"), Qt::LeftButton);
    EXPECT_FALSE(deep().stopWindow()->isVisible());
    EXPECT_EQ(screen(), "4");
    system.holdReads = false;
    EXPECT_TRUE(waitFor([this] { return screen() == "5"; }));
}

TEST_F(DeepRuns, ItHoldsStillWhileItAsks)
{
    startHeldRun();
    QTest::keyClick(app->window(), Qt::Key_Escape);
    ASSERT_TRUE(deep().stopWindow()->isVisible());
    system.holdReads = false;
    // Long enough for the run to end if it did not hold still.
    EXPECT_FALSE(waitFor([this] { return screen() == "5"; }, 300));
    QTest::keyClick(deep().stopWindow(), Qt::Key_Escape);
    EXPECT_TRUE(waitFor([this] { return screen() == "5"; }));
}

TEST_F(DeepRuns, AfterAnAbortTheNextOneRuns)
{
    startHeldRun();
    deep().abort();
    deep().abortConfirmed();
    system.holdReads = false;
    ASSERT_TRUE(waitFor([this] { return screen() == "0"; }));
    EXPECT_TRUE(deepToEnd(writeDamaged("second.psd", threeLayers().build())));
    EXPECT_TRUE(filesIn(workingFolder()).contains("second_layers.psd"));
}

TEST_F(DeepRuns, EachRunHasTheKeyboardAtItsAbortButton)
{
    ASSERT_TRUE(launchAndRecover(threeLayers().build()));
    app->homeScreen(nullptr);
    choose(writeDamaged("second.psd", threeLayers().build()));
    desktop.alertAnswers = {AlertAnswer::Alternate}; // the last results may go
    system.heldReads = 0;
    system.holdReads = true;
    click("deepButton");
    ASSERT_TRUE(waitFor([this] { return system.heldReads > 0; }));
    EXPECT_TRUE(find<QPushButton>("deepAbortButton")->hasFocus());
    system.holdReads = false;
    EXPECT_TRUE(waitFor([this] { return screen() == "5"; }));
}

TEST_F(DeepRuns, AControllerThatGoesWhileItRunsGivesItUp)
{
    startHeldRun();
    const QString output = workingFolder();
    std::thread reader([this] {
        // Whether it is lifted before or behind the stop, the run ends without a report.
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        system.holdReads = false;
    });
    app.reset();
    reader.join();
    EXPECT_FALSE(QFile::exists(output + "/report.html"));
}

TEST_F(DeepRuns, AFullDiskIsToldAndLeadsBack)
{
    launch();
    choose(writeDamaged("poster.psd", threeLayers().build()));
    system.failWrites = true;
    click("deepButton");
    ASSERT_TRUE(waitFor([this] { return !desktop.alerts.empty(); }));
    EXPECT_EQ(desktop.alertTitles(), QStringList("The recovered files could not be written"));
    EXPECT_EQ(screen(), "0");
    EXPECT_FALSE(QDir(workingFolder()).exists());
}

TEST_F(DeepRuns, TheDocumentItselfIsNeverChanged)
{
    const Document document = threeLayers().build();
    ASSERT_TRUE(launchAndRecover(document));
    const QByteArray bytes(reinterpret_cast<const char*>(document.bytes.data()),
                           static_cast<qsizetype>(document.bytes.size()));
    EXPECT_EQ(contentsOf(path("poster.psd")), bytes);
}

TEST_F(DeepRuns, TheButtonsFollowTheState)
{
    launch();
    auto* button = find<QPushButton>("deepButton");
    EXPECT_TRUE(button->isEnabled());
    app->setIsRepairing(true);
    EXPECT_FALSE(button->isEnabled());
    app->setIsRepairing(false);
    app->setIsSaving(true);
    EXPECT_FALSE(find<QPushButton>("resultsDeepButton")->isEnabled());
}

} // namespace talvek::test
