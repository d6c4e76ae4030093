#include "frontend/PreviewView.h"
#include "tests/frontend/Journey.h"

#include <QImage>
#include <QTableView>
#include <QtTest>

namespace talvek::test {

class Results : public Journey
{
protected:
    [[nodiscard]] QString cell(const QString& column, int row) const
    {
        return app->tableView_objectValueForTableColumn_row(app->tableView, column, row).toString();
    }
    void showTwo()
    {
        launch();
        postComplete({{"1", "first", "12", path("1.png").toStdString()},
                      {"2", "second", "0", path("2.png").toStdString()}},
                     12345);
    }
    [[nodiscard]] QPoint rowPoint(int row) const
    {
        return app->tableView->visualRect(app->tableView->model()->index(row, 1)).center();
    }
};

TEST_F(Results, ColumnsShowNumberNameAndSizeAsTheyAre)
{
    showTwo();
    EXPECT_EQ(app->numberOfRowsInTableView(app->tableView), 2);
    EXPECT_EQ(cell("1", 1), "2");
    EXPECT_EQ(cell("2", 1), "second");
    EXPECT_EQ(cell("3", 0), "12");
    EXPECT_EQ(app->tableView->model()->index(0, 2).data().toString(), "12");
}

TEST_F(Results, AColumnOfAnotherIdentifierShowsNothing)
{
    showTwo();
    for (const char* column : {"0", "4", "", "fileName"}) {
        EXPECT_FALSE(
            app->tableView_objectValueForTableColumn_row(app->tableView, column, 0).isValid());
    }
}

TEST_F(Results, ARowThatIsNotThereShowsNothing)
{
    showTwo();
    EXPECT_EQ(cell("1", -1), "");
    EXPECT_EQ(cell("1", 2), "");
}

TEST_F(Results, PreviewingTwoFilesInTurnShowsTheSecond)
{
    showTwo();
    app->previewWithDictionary((*app->arrayFiles())[0]);
    EXPECT_EQ(app->imageViewWindow()->windowTitle(), "first-preview");
    app->previewWithDictionary((*app->arrayFiles())[1]);
    EXPECT_EQ(app->imageViewWindow()->windowTitle(), "second-preview");
    EXPECT_TRUE(app->imageViewWindow()->isVisible());
}

TEST_F(Results, TheSecondPicturePreviewedIsTheOneShown)
{
    launch();
    write("a.psd", document(10, 10));
    write("b.psd", document(20, 5));
    postComplete({{"1", "a", "0", path("a.psd").toStdString()},
                  {"2", "b", "0", path("b.psd").toStdString()}},
                 0);
    const auto* view = app->imageViewWindow()->findChild<PreviewView*>();
    app->previewWithDictionary((*app->arrayFiles())[0]);
    ASSERT_TRUE(waitFor([view] { return view->pictureSize() == QSize(10, 10); }));
    app->previewWithDictionary((*app->arrayFiles())[1]);
    EXPECT_TRUE(waitFor([view] { return view->pictureSize() == QSize(20, 5); }));
}

TEST_F(Results, SpaceAndReturnPreviewOnlyWhereTheTableHasTheFocus)
{
    showTwo();
    app->tableView->setFocus();
    QTest::keyClick(app->tableView, Qt::Key_Space);
    EXPECT_TRUE(app->imageViewWindow()->isVisible());
    app->imageViewWindow()->close();
    app->window()->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(app->window()));
    find<QWidget>("saveButton")->setFocus();
    QTest::keyClick(find<QWidget>("saveButton"), Qt::Key_Space);
    EXPECT_FALSE(app->imageViewWindow()->isVisible());
    EXPECT_EQ(desktop.savePanels.size(), 1U);
}

TEST_F(Results, TheImageViewHasTheTag101)
{
    launch();
    const auto* view = app->imageViewWindow()->findChild<PreviewView*>();
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(view->property("tag").toInt(), 101);
}

TEST_F(Results, TheButtonPreviewsTheSelectedRow)
{
    showTwo();
    app->tableView->selectRow(1);
    click("previewButton");
    EXPECT_EQ(app->imageViewWindow()->windowTitle(), "second-preview");
}

TEST_F(Results, ADoubleClickPreviewsTheClickedRow)
{
    showTwo();
    QTest::mouseClick(app->tableView->viewport(), Qt::LeftButton, {}, rowPoint(1));
    QTest::mouseDClick(app->tableView->viewport(), Qt::LeftButton, {}, rowPoint(1));
    EXPECT_EQ(app->imageViewWindow()->windowTitle(), "second-preview");
}

TEST_F(Results, ADoubleClickBelowTheLastRowDoesNothing)
{
    showTwo();
    QTest::mouseDClick(app->tableView->viewport(), Qt::LeftButton, {}, rowPoint(1) + QPoint(0, 90));
    EXPECT_FALSE(app->imageViewWindow()->isVisible());
}

TEST_F(Results, PreviewWithoutASelectionDoesNothing)
{
    showTwo();
    app->tableView->clearSelection();
    app->previewImage(nullptr);
    EXPECT_FALSE(app->imageViewWindow()->isVisible());
    EXPECT_FALSE(find<QWidget>("previewButton")->isEnabled());
}

TEST_F(Results, AFileThatCannotBeShownGivesAnEmptyViewAndNoMessage)
{
    launch();
    postComplete({{"1", "gone", "0", path("gone.psd").toStdString()}}, 0);
    app->previewWithDictionary((*app->arrayFiles())[0]);
    QTest::qWait(100);
    EXPECT_TRUE(desktop.alerts.empty() && desktop.sheets.empty());
    EXPECT_EQ(app->imageViewWindow()->windowTitle(), "gone-preview");
}

TEST_F(Results, ThePreviewWindowStaysOpenOnTheWayHome)
{
    showTwo();
    app->previewWithDictionary((*app->arrayFiles())[0]);
    app->homeScreen(nullptr);
    EXPECT_TRUE(app->imageViewWindow()->isVisible());
    EXPECT_EQ(app->tableView->model()->rowCount(), 0);
}

TEST_F(Results, TheSpaceBarPreviewsAndTheArrowsMove)
{
    showTwo();
    QTest::keyClick(app->tableView, Qt::Key_Down);
    app->previewImage(nullptr);
    EXPECT_EQ(app->imageViewWindow()->windowTitle(), "second-preview");
}

TEST_F(Results, GoingHomeWithUnsavedResultsAsksFirst)
{
    showTwo();
    desktop.alertAnswers = {AlertAnswer::Default};
    click("homeButton");
    EXPECT_EQ(screen(), "2");
    desktop.alertAnswers = {AlertAnswer::Alternate};
    click("homeButton");
    EXPECT_EQ(screen(), "0");
    EXPECT_EQ(desktop.alerts.size(), 2U);
    EXPECT_EQ(desktop.alerts[0].escapeAnswer, AlertAnswer::Default);
}

} // namespace talvek::test
