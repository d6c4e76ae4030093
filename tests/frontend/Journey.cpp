#include "tests/frontend/Journey.h"

#include "frontend/MainWindow.h"
#include "frontend/TabView.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QPushButton>
#include <QtEndian>
#include <QtTest>

namespace talvek::test {

namespace {

QByteArray infoPlist(const QString& version, const QString& cloudPlistUrl)
{
    return QStringLiteral("<?xml version=\"1.0\"?><plist version=\"1.0\"><dict>"
                          "<key>CFBundleShortVersionString</key><string>%1</string>"
                          "<key>cloudPlistUrl</key><string>%2</string></dict></plist>")
        .arg(version, cloudPlistUrl)
        .toUtf8();
}

void appendNumber(QByteArray& bytes, quint32 number)
{
    const quint32 big = qToBigEndian(number);
    bytes.append(reinterpret_cast<const char*>(&big), sizeof big);
}

} // namespace

Journey::Journey() = default;

Journey::~Journey()
{
    system.holdReads = false;
}

void Journey::launch()
{
    const QString bundle = path(QStringLiteral("Talvek PSD Repair.app"));
    QDir().mkpath(bundle + QStringLiteral("/Contents"));
    QFile::link(QStringLiteral(TALVEK_IMAGES), bundle + QStringLiteral("/Contents/Resources"));
    write(QStringLiteral("Talvek PSD Repair.app/Contents/Info.plist"),
          infoPlist(version, cloudPlistUrl));
    app = std::make_unique<TalvekRepairPSD_AppDelegate>(desktop, Bundle(bundle), system);
    app->applicationDidFinishLaunching();
    app->window()->show();
    app->window()->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(app->window()));
}

bool Journey::waitFor(const std::function<bool()>& condition, int milliseconds)
{
    return QTest::qWaitFor(condition, milliseconds);
}

void Journey::drain()
{
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
}

QString Journey::write(const QString& name, const QByteArray& contents) const
{
    QFile file(path(name));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly)) << name.toStdString();
    file.write(contents);
    return file.fileName();
}

QByteArray Journey::document(quint32 width, quint32 height)
{
    QByteArray bytes("8BPS\0\1\0\0\0\0\0\0\0\3", 14);
    appendNumber(bytes, height);
    appendNumber(bytes, width);
    bytes.append("\0\10\0\3", 4);
    for (int section = 0; section < 3; ++section) {
        appendNumber(bytes, 0);
    }
    bytes.append(2, '\0');
    return bytes.append(qsizetype{3} * width * height, 'p');
}

QString Journey::writeDocument(const QString& name) const
{
    return write(name, document());
}

FileRecord Journey::writeSalvaged(const QString& name, int bytes, int number) const
{
    QDir().mkpath(app->repairedFilesPath());
    QByteArray contents;
    for (int index = 0; index < bytes; ++index) {
        contents.append(static_cast<char>('a' + index % 23));
    }
    const QString relative = QStringLiteral(".recovered files/") + name;
    return {std::to_string(number), QFileInfo(name).completeBaseName().toStdString(),
            std::to_string(bytes >> 10), write(relative, contents).toStdString()};
}

QByteArray Journey::contentsOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void Journey::choose(const QString& path)
{
    desktop.chosenDocument = path;
    click(QStringLiteral("chooseButton"));
}

void Journey::click(const QString& buttonName)
{
    auto* button = find<QPushButton>(buttonName);
    ASSERT_NE(button, nullptr) << buttonName.toStdString();
    ASSERT_TRUE(button->isVisible() && button->isEnabled()) << buttonName.toStdString();
    QTest::mouseClick(button, Qt::LeftButton);
}

QString Journey::screen() const
{
    return app->tabView->selectedIdentifier();
}

void Journey::post(const UserInfo& notification)
{
    NotificationCenter::defaultCenter().post("notif", notification);
    drain();
}

void Journey::postComplete(const std::vector<FileRecord>& files, std::uint64_t totalBytes)
{
    post({{"complete", std::string("Repair Completed")},
          {"Files", files},
          {"totalFilesSize", totalBytes}});
}

bool Journey::repairToEnd(const QString& document)
{
    choose(document);
    click(QStringLiteral("repairButton"));
    return waitFor([this] { return screen() == QStringLiteral("2"); });
}

bool Journey::isWorking() const
{
    return app->isRepairing() && system.heldReads > 0;
}

} // namespace talvek::test
