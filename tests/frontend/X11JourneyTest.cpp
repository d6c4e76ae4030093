#include <QApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QDrag>
#include <QFile>
#include <QMimeData>
#include <QMouseEvent>
#include <QProcess>
#include <QTemporaryDir>
#include <QUrl>
#include <QWidget>
#include <QtTest>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

// The application as it is delivered, in a real X server, driven by a real pointer and keyboard:
// nothing of it is linked in here.

namespace talvek::test {

namespace {

/// Machines that test are slow and busy: how long, in milliseconds, anything may take, and one try.
constexpr int kPatience = 150'000;
constexpr int kPatienceForOneTry = 5'000;
constexpr const char* kMainWindow = "^Talvek PSD Repair$";

QString corpus()
{
    return qEnvironmentVariable("TALVEK_CORPUS", QStringLiteral(TALVEK_CORPUS_DEFAULT));
}

/// Runs xdotool while our own windows stay alive, and tells what it printed.
QString xdotool(const QString& arguments)
{
    QProcess process;
    if (qEnvironmentVariableIsSet("TALVEK_SHOW")) {
        qInfo("xdotool %s", qPrintable(arguments));
    }
    process.start(QStringLiteral("xdotool"), arguments.split(' '));
    if (!QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, kPatience)) {
        ADD_FAILURE() << "xdotool does not end: " << arguments.toStdString();
        process.kill();
        process.waitForFinished();
    }
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

QString visibleWindow(const QString& name)
{
    return xdotool("search --onlyvisible --name " + QString(name).replace(' ', '.'))
        .split('\n')
        .last();
}

bool appears(const std::function<bool()>& condition)
{
    return QTest::qWaitFor(condition, kPatience);
}

/// Does it as a person does who sees nothing happen: again, until it has had its effect. What is
/// pressed before a window is ready for it is lost, and nothing outside tells when it is.
bool takesEffect(const std::function<void()>& action, const std::function<bool()>& effect)
{
    const QDeadlineTimer deadline(kPatience);
    while (!deadline.hasExpired()) {
        action();
        if (QTest::qWaitFor(effect, kPatienceForOneTry)) {
            return true;
        }
    }
    return false;
}

/// A window out of which a file can be dragged.
class DragSource : public QWidget
{
public:
    explicit DragSource(QString file) : m_file(std::move(file)) { setGeometry(980, 0, 100, 100); }

protected:
    void mousePressEvent(QMouseEvent* event) override { event->accept(); }
    void mouseMoveEvent(QMouseEvent* /*event*/) override
    {
        auto* dragged = new QMimeData;
        dragged->setUrls({QUrl::fromLocalFile(m_file)});
        auto* drag = new QDrag(this);
        drag->setMimeData(dragged);
        drag->exec(Qt::CopyAction);
    }

private:
    QString m_file;
};

} // namespace

class RealWindow : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (QGuiApplication::platformName() != "xcb") {
            GTEST_SKIP() << "no X server";
        }
        document = home.filePath("damaged.psd");
        if (!QFile::copy(corpus() + "/psd-tools--rgb-blend-modes.psd", document)) {
            GTEST_SKIP() << "no real documents at " << corpus().toStdString();
        }
        start();
    }
    void TearDown() override
    {
        if (application.state() != QProcess::NotRunning) {
            application.kill();
            application.waitForFinished();
        }
    }
    void start()
    {
        QDir().mkpath(home.filePath("app"));
        bundle = home.filePath("app/Talvek PSD Repair.app");
        ASSERT_EQ(QProcess::execute("cp", {"-r", TALVEK_BUNDLE, bundle}), 0);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("HOME", home.path());
        environment.insert("QT_QPA_PLATFORM", "xcb");
        environment.insert("TALVEK_APPEARANCE", "light");
        application.setProcessEnvironment(environment);
        application.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        application.start(bundle + "/Contents/MacOS/Talvek PSD Repair", QStringList());
        ASSERT_TRUE(appears([this] {
            mainWindow = visibleWindow(kMainWindow);
            return !mainWindow.isEmpty();
        }));
        focus(mainWindow);
    }
    static void focus(const QString& window)
    {
        xdotool("windowraise " + window);
        xdotool("windowfocus " + window);
        QTest::qWait(200);
    }
    /// Whatever panel, sheet or alert stands before the main window.
    [[nodiscard]] QString panel() const
    {
        const QStringList windows =
            xdotool("search --onlyvisible --pid " + QString::number(application.processId()))
                .split('\n', Qt::SkipEmptyParts);
        const auto other = std::find_if(windows.begin(), windows.end(),
                                        [this](const QString& each) { return each != mainWindow; });
        return other == windows.end() ? QString() : *other;
    }
    void answerPanelByReturn() const
    {
        if (const QString window = panel(); !window.isEmpty()) {
            focus(window);
            xdotool("key Return");
        }
    }
    void drop()
    {
        DragSource source(document);
        source.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&source));
        // One run: a drag has an event loop of its own, from which we return only after the drop.
        xdotool("mousemove 1030 50 sleep 0.2 mousedown 1 mousemove 1020 60 sleep 0.1 "
                "mousemove 900 200 sleep 0.1 mousemove 600 280 sleep 0.1 mousemove 480 300 "
                "sleep 0.2 mousemove 481 301 sleep 0.2 mouseup 1");
        QTest::qWait(500);
    }
    bool repairByPointer()
    {
        const auto dropAndPressRepair = [this] {
            answerPanelByReturn(); // that a drop came too early and left nothing to repair
            drop();
            focus(mainWindow);
            xdotool("mousemove 838 574 click 1");
        };
        return takesEffect(dropAndPressRepair, [this] { return resultsStand(); });
    }
    static QString preview() { return visibleWindow("damaged.psd_.*-preview"); }
    bool lookAtTheFirstRow()
    {
        const auto doubleClick = [this] {
            focus(mainWindow);
            xdotool("mousemove 400 205 click --repeat 2 --delay 80 1");
        };
        return takesEffect(doubleClick, [] { return !preview().isEmpty(); });
    }
    static bool closePreview()
    {
        const auto close = [] {
            if (const QString window = preview(); !window.isEmpty()) {
                focus(window);
                xdotool("key ctrl+w");
            }
        };
        return takesEffect(close, [] { return preview().isEmpty(); });
    }
    [[nodiscard]] QStringList filesIn(const QString& folder) const
    {
        return QDir(home.filePath(folder)).entryList(QDir::Files);
    }
    [[nodiscard]] bool resultsStand() const
    {
        return filesIn("app/.recovered files").contains("damaged.psd_repaired.psd");
    }

    QTemporaryDir home;
    QString document;
    QString bundle;
    QString mainWindow;
    QProcess application;
};

TEST_F(RealWindow, DropRepairLookSaveAndHomeByPointerAndKeys)
{
    ASSERT_TRUE(repairByPointer());
    ASSERT_TRUE(lookAtTheFirstRow());
    ASSERT_TRUE(closePreview());

    const auto askToSave = [this] {
        focus(mainWindow);
        xdotool("key ctrl+s");
    };
    ASSERT_TRUE(takesEffect(askToSave, [] { return !visibleWindow("^Save$").isEmpty(); }));
    const QStringList salvaged = filesIn("app/.recovered files");
    EXPECT_GT(salvaged.size(), 400);
    const auto answer = [this] { answerPanelByReturn(); };
    ASSERT_TRUE(takesEffect(answer, [&] { return filesIn("Repaired PSD Files") == salvaged; }));

    ASSERT_TRUE(takesEffect(
        answer, [this] { return !QDir(home.filePath("app/.recovered files")).exists(); }));

    const auto quit = [this] {
        focus(mainWindow);
        xdotool("key ctrl+q");
    };
    ASSERT_TRUE(takesEffect(quit, [this] { return application.state() == QProcess::NotRunning; }));
    EXPECT_EQ(application.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(application.exitCode(), 0);
}

TEST_F(RealWindow, ASecondStartBringsTheDocumentToTheFirst)
{
    QProcess second;
    second.setProcessEnvironment(application.processEnvironment());
    second.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    second.start(bundle + "/Contents/MacOS/Talvek PSD Repair", {document});
    ASSERT_TRUE(appears([&] { return second.state() == QProcess::NotRunning; }));
    EXPECT_EQ(second.exitCode(), 0);
    const auto repair = [this] {
        answerPanelByReturn(); // that no document has come yet
        focus(mainWindow);
        xdotool("key ctrl+r");
    };
    EXPECT_TRUE(takesEffect(repair, [this] { return resultsStand(); }));
}

TEST_F(RealWindow, TheHomeButtonAsksBeforeItLeavesTheResults)
{
    ASSERT_TRUE(repairByPointer());
    // The results are on the screen when a row of them can be looked at.
    ASSERT_TRUE(lookAtTheFirstRow());
    ASSERT_TRUE(closePreview());
    const auto pressHome = [this] {
        focus(mainWindow);
        xdotool("mousemove 819 37 click 1");
    };
    ASSERT_TRUE(takesEffect(pressHome, [this] { return !panel().isEmpty(); }));
    EXPECT_TRUE(resultsStand());
    const auto pressItsSecondButton = [&] {
        const QString alert = panel();
        if (alert.isEmpty()) {
            pressHome();
        } else {
            focus(alert);
            xdotool("key Tab key space");
        }
    };
    EXPECT_TRUE(takesEffect(pressItsSecondButton, [this] {
        return !QDir(home.filePath("app/.recovered files")).exists();
    }));
}

} // namespace talvek::test

int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
