#include "frontend/QtDesktop.h"
#include "frontend/SavePanelDialog.h"
#include "frontend/SingleInstance.h"
#include "platform/SystemLog.h"
#include "tests/frontend/Journey.h"

#include <QEventLoop>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QLockFile>
#include <QMessageBox>
#include <QPushButton>
#include <QTextDocumentFragment>
#include <QTimer>
#include <QtTest>

namespace talvek::test {

/// The panels and alerts themselves, answered by keys and clicks.
class RealDesktop : public ::testing::Test
{
protected:
    void SetUp() override
    {
        window.show();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    }
    template <typename Dialog>
    Dialog* shown() const
    {
        const auto isThere = [this] { return !window.findChildren<Dialog*>().isEmpty(); };
        return QTest::qWaitFor(isThere) ? window.findChildren<Dialog*>().first() : nullptr;
    }
    /// Answers the next alert panel by pressing a key.
    void pressInPanel(Qt::Key key)
    {
        QTimer::singleShot(50, &window, [key] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            ASSERT_NE(box, nullptr);
            QTest::keyClick(box, key);
        });
    }

    QWidget window;
    QtDesktop desktop{Bundle(QStringLiteral("/nonexistent"))};
    const AlertPanel updateQuestion{"title", "message", "YES", "NO", ""};
};

TEST_F(RealDesktop, ReturnGivesTheDefaultAndEscapeTheAlternateButton)
{
    pressInPanel(Qt::Key_Return);
    EXPECT_EQ(desktop.runAlertPanel(&window, updateQuestion), AlertAnswer::Default);
    pressInPanel(Qt::Key_Escape);
    EXPECT_EQ(desktop.runAlertPanel(&window, updateQuestion), AlertAnswer::Alternate);
}

TEST_F(RealDesktop, EscapeGivesTheDefaultWhereTheAlertSaysSo)
{
    AlertPanel question{"title", "message", "Stay", "Delete", ""};
    question.escapeAnswer = AlertAnswer::Default;
    pressInPanel(Qt::Key_Escape);
    EXPECT_EQ(desktop.runAlertPanel(&window, question), AlertAnswer::Default);
}

TEST_F(RealDesktop, AnAlertShowsItsTextsAndOnlyButtonsThatHaveATitle)
{
    QTimer::singleShot(50, &window, [] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        ASSERT_NE(box, nullptr);
        EXPECT_EQ(box->text(), "title");
        EXPECT_EQ(box->informativeText(), "message");
        EXPECT_EQ(box->buttons().size(), 2);
        box->reject();
    });
    desktop.runAlertPanel(&window, updateQuestion);
}

TEST_F(RealDesktop, NeitherAnAlertNorASheetTakesANameForMarkup)
{
    const QString name = "<b>x</b><img src=y>.psd";
    const auto expectPlain = [](const QMessageBox& box) {
        for (const QLabel* label : box.findChildren<QLabel*>()) {
            EXPECT_EQ(label->textFormat(), Qt::PlainText) << label->objectName().toStdString();
        }
    };
    QTimer::singleShot(50, &window, [&] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        ASSERT_NE(box, nullptr);
        expectPlain(*box);
        box->reject();
    });
    desktop.runAlertPanel(&window, {name, name, "OK"});
    desktop.beginAlertSheet(&window, {name, "OK", "info_64", name}, [] {});
    ASSERT_NE(shown<QMessageBox>(), nullptr);
    expectPlain(*shown<QMessageBox>());
}

TEST_F(RealDesktop, TheSavePanelShowsItsFolderAsItIs)
{
    const QTemporaryDir home;
    const QString documents = home.filePath("<b>mine");
    ASSERT_TRUE(QDir().mkpath(documents));
    SavePanelDialog panel({"Save", "x"}, &window);
    panel.setParentFolder(documents);
    const auto* field = panel.findChild<QLineEdit*>("folderField");
    EXPECT_EQ(field->text(), documents);
    EXPECT_EQ(QTextDocumentFragment::fromHtml(field->toolTip()).toPlainText(), documents);
}

TEST_F(RealDesktop, ASheetHangsOnItsWindowAndCallsBackOnce)
{
    int dismissals = 0;
    desktop.beginAlertSheet(&window, {"text", "Ok", "info_64"}, [&] { ++dismissals; });
    auto* box = shown<QMessageBox>();
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(box->windowModality(), Qt::WindowModal);
    EXPECT_EQ(box->text(), "text");
    QTest::keyClick(box, Qt::Key_Return);
    EXPECT_TRUE(QTest::qWaitFor([&] { return dismissals == 1; }));
}

TEST_F(RealDesktop, TheSavePanelGivesFolderAndTypedName)
{
    std::optional<SaveDestination> destination;
    desktop.beginSavePanel(&window, {"Save", "Repaired PSD Files"},
                           [&](const auto& chosen) { destination = chosen; });
    auto* panel = shown<SavePanelDialog>();
    ASSERT_NE(panel, nullptr);
    QTest::keyClicks(panel->findChild<QLineEdit*>("nameField"), "mine");
    EXPECT_EQ(panel->findChild<QPushButton*>("saveButton")->text(), "Save");
    QTest::keyClick(panel, Qt::Key_Return);
    ASSERT_TRUE(QTest::qWaitFor([&] { return destination.has_value(); }));
    EXPECT_EQ(destination->name, "mine");
    EXPECT_FALSE(destination->parentFolder.isEmpty());
}

TEST_F(RealDesktop, ANameThatWouldLeadElsewhereCannotBeSaved)
{
    SavePanelDialog panel({"Save", "Repaired PSD Files"}, &window);
    auto* save = panel.findChild<QPushButton*>("saveButton");
    EXPECT_TRUE(save->isEnabled());
    for (const char* name : {"", "  ", ".", "..", "a/b", "/etc"}) {
        panel.findChild<QLineEdit*>("nameField")->setText(name);
        EXPECT_FALSE(save->isEnabled()) << name;
    }
}

TEST_F(RealDesktop, ACancelledSavePanelGivesNothing)
{
    bool hasEnded = false;
    desktop.beginSavePanel(&window, {"Save", "x"}, [&](const auto& chosen) {
        hasEnded = true;
        EXPECT_FALSE(chosen.has_value());
    });
    QTest::keyClick(shown<SavePanelDialog>(), Qt::Key_Escape);
    EXPECT_TRUE(QTest::qWaitFor([&] { return hasEnded; }));
}

TEST_F(RealDesktop, TheOpenPanelTakesOneFileOfTheAllowedTypes)
{
    std::optional<QString> chosen = QStringLiteral("untouched");
    desktop.beginOpenPanel(&window, {{"psd", "pdd"}}, [&](const auto& path) { chosen = path; });
    auto* panel = shown<QFileDialog>();
    ASSERT_NE(panel, nullptr);
    EXPECT_EQ(panel->fileMode(), QFileDialog::ExistingFile);
    EXPECT_TRUE(panel->nameFilters().at(0).contains("*.psd *.PSD *.pdd *.PDD"));
    panel->reject();
    EXPECT_TRUE(QTest::qWaitFor([&] { return !chosen.has_value(); }));
}

TEST(Launching, ABundleThatIsNotThereIsNoError)
{
    QtDesktop desktop{Bundle(QStringLiteral("/nonexistent"))};
    desktop.launchApplication("/nonexistent/.autoUpd.app");
}

TEST(Launching, ABundleIsStartedByItsExecutable)
{
    const QTemporaryDir folder;
    QDir(folder.path()).mkpath(".autoUpd.app/Contents/MacOS");
    QFile script(folder.filePath(".autoUpd.app/Contents/MacOS/.autoUpd"));
    ASSERT_TRUE(script.open(QIODevice::WriteOnly));
    script.write("#!/bin/sh\ntouch \"" + folder.filePath("started").toUtf8() + "\"\n");
    script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    script.close();
    QtDesktop{Bundle(QString())}.launchApplication(folder.filePath(".autoUpd.app"));
    EXPECT_TRUE(QTest::qWaitFor([&] { return QFile::exists(folder.filePath("started")); }));
}

TEST(OneInstance, ASecondOneHandsItsDocumentToTheFirst)
{
    const QTemporaryDir folder;
    SingleInstance first(folder.filePath(".recovered files"), nullptr);
    SingleInstance second(folder.filePath(".recovered files"), nullptr);
    QString received = "nothing";
    first.setOtherStarted([&](const QString& document) { received = document; });
    ASSERT_EQ(first.claimOrNotify(""), SingleInstance::Claim::First);
    EXPECT_EQ(second.claimOrNotify("/some where/a\nb.psd"), SingleInstance::Claim::HandedOver);
    EXPECT_TRUE(QTest::qWaitFor([&] { return received == "/some where/a\nb.psd"; }));
}

TEST(OneInstance, AQuestionMayStandWhileTheSecondOneGoes)
{
    const QTemporaryDir folder;
    SingleInstance first(folder.filePath(".recovered files"), nullptr);
    SingleInstance second(folder.filePath(".recovered files"), nullptr);
    QString answered;
    first.setOtherStarted([&](const QString& document) {
        QEventLoop question; // as an alert runs one, in which the second one's connection ends
        QTimer::singleShot(100, &question, &QEventLoop::quit);
        question.exec();
        answered = document;
    });
    ASSERT_EQ(first.claimOrNotify(""), SingleInstance::Claim::First);
    EXPECT_EQ(second.claimOrNotify("/a.psd"), SingleInstance::Claim::HandedOver);
    EXPECT_TRUE(QTest::qWaitFor([&] { return answered == "/a.psd"; }));
}

TEST(OneInstance, TwoTemporaryFoldersAreTwoApplications)
{
    const QTemporaryDir folder;
    SingleInstance first(folder.filePath("a"), nullptr);
    SingleInstance second(folder.filePath("b"), nullptr);
    EXPECT_EQ(first.claimOrNotify(""), SingleInstance::Claim::First);
    EXPECT_EQ(second.claimOrNotify(""), SingleInstance::Claim::First);
}

TEST(OneInstance, WithNowhereToListenTheFirstWorksAloneAndSaysSoInTheLog)
{
    const QTemporaryDir folder;
    QStringList logged;
    const int sink = SystemLog::addSink(
        [&](const std::string& line) { logged << QString::fromStdString(line); });
    const QByteArray before = qgetenv("TMPDIR");
    const QString tooLongForASocket = folder.filePath(QString(150, 'd'));
    ASSERT_TRUE(QDir().mkpath(tooLongForASocket));
    qputenv("TMPDIR", tooLongForASocket.toLocal8Bit());
    SingleInstance first(folder.filePath(".recovered files"), nullptr);
    SingleInstance second(folder.filePath(".recovered files"), nullptr);
    EXPECT_EQ(first.claimOrNotify(""), SingleInstance::Claim::First);
    EXPECT_EQ(logged.filter("A second start cannot hand its document over").size(), 1);
    EXPECT_EQ(second.claimOrNotify("/a.psd"), SingleInstance::Claim::Refused);
    before.isNull() ? qunsetenv("TMPDIR") : qputenv("TMPDIR", before);
    SystemLog::removeSink(sink);
}

TEST(OneInstance, OneThatHoldsTheFolderAndDoesNotAnswerRefusesTheNext)
{
    const QTemporaryDir folder;
    QLockFile anotherUsers(folder.filePath(".recovered files.lock"));
    ASSERT_TRUE(anotherUsers.tryLock());
    SingleInstance instance(folder.filePath(".recovered files"), nullptr);
    EXPECT_EQ(instance.claimOrNotify("/a.psd"), SingleInstance::Claim::Refused);
}

} // namespace talvek::test
