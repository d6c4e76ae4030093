#include "frontend/PropertyList.h"
#include "tests/frontend/Journey.h"
#include "tests/frontend/LoopbackServer.h"

#include <QDialog>
#include <QDir>
#include <QtTest>
#include <plist/plist.h>

namespace talvek::test {

namespace {

QByteArray published(const QByteArray& version)
{
    return "<?xml version=\"1.0\"?><plist "
           "version=\"1.0\"><dict><key>CFBundleShortVersionString</key>"
           "<string>" +
           version + "</string></dict></plist>";
}

QByteArray publishedBinary(const char* version)
{
    const plist_t list = plist_new_dict();
    plist_dict_set_item(list, "CFBundleShortVersionString", plist_new_string(version));
    char* bytes = nullptr;
    std::uint32_t size = 0;
    plist_to_bin(list, &bytes, &size);
    const QByteArray result(bytes, static_cast<qsizetype>(size));
    plist_to_bin_free(bytes);
    plist_free(list);
    return result;
}

QString stringOf(plist_t node)
{
    std::uint64_t length = 0;
    const char* value = plist_get_string_ptr(node, &length);
    return QString::fromUtf8(value, static_cast<qsizetype>(length));
}

} // namespace

class Services : public Journey
{
protected:
    void launchAgainst(LoopbackServer& server, const QString& folder = "/psd")
    {
        cloudPlistUrl = server.address() + folder;
        launch();
    }
    /// Asks as the user does, and waits for the answer.
    bool ask()
    {
        const std::size_t before = desktop.alerts.size();
        app->checkForUpdate(app->window());
        return waitFor([this, before] { return desktop.alerts.size() > before; });
    }
};

TEST_F(Services, HelpOpensThePageInTheBundle)
{
    launch();
    click("helpButton");
    ASSERT_EQ(desktop.opened.size(), 1U);
    EXPECT_EQ(desktop.opened[0].toLocalFile(),
              path("Talvek PSD Repair.app/Contents/Resources/HTML/index.html"));
}

TEST(TheBundle, HoldsItsVersionAnUpdateAddressAndTheHelpPage)
{
    const Bundle bundle(TALVEK_BUNDLE);
    EXPECT_EQ(bundle.infoString("CFBundleShortVersionString"), TALVEK_VERSION);
    const QUrl address(bundle.infoString("cloudPlistUrl").value_or(QString()));
    EXPECT_EQ(address.scheme(), "https");
    EXPECT_TRUE(QFile::exists(bundle.resourcePath("HTML/index.html")));
    EXPECT_FALSE(bundle.imageNamed("info_64").isNull());
}

TEST(TheBundle, OpensPsdAndPddByTheirExtensions)
{
    QFile file(QStringLiteral(TALVEK_BUNDLE "/Contents/Info.plist"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray bytes = file.readAll();
    plist_t list = nullptr;
    plist_from_xml(bytes.constData(), static_cast<std::uint32_t>(bytes.size()), &list);
    const plist_t type = plist_access_path(list, 2, "CFBundleDocumentTypes", 0);
    QStringList extensions;
    for (std::uint32_t index = 0; index < 2; ++index) {
        extensions << stringOf(plist_access_path(type, 2, "CFBundleTypeExtensions", index));
    }
    EXPECT_EQ(extensions, QStringList({"psd", "pdd"}));
    // Where content types are named, macOS passes over the extensions; it knows none for PDD.
    EXPECT_EQ(plist_dict_get_item(type, "LSItemContentTypes"), nullptr);
    plist_free(list);
}

TEST_F(Services, GoingHomeWithoutATemporaryFolderOnlyResets)
{
    launch();
    choose(path("a.psd"));
    app->homeScreen(nullptr);
    EXPECT_EQ(screen(), "0");
    EXPECT_TRUE(app->corruptFilePath().isNull());
}

TEST_F(Services, GoingHomeNeverFollowsALinkOutOfTheTemporaryFolder)
{
    launch();
    writeSalvaged("a.psd", 5);
    QDir().mkpath(path("mine"));
    const QString precious = write("mine/precious", "p");
    QFile::link(path("mine"), app->repairedFilesPath() + "/link");
    app->homeScreen(nullptr);
    EXPECT_FALSE(QDir(app->repairedFilesPath()).exists());
    EXPECT_TRUE(QFile::exists(precious));
}

TEST_F(Services, WithTheNetworkDownTheStartSaysSoUnasked)
{
    desktop.connected = false;
    launch();
    ASSERT_TRUE(waitFor([this] { return !desktop.alerts.empty(); }));
    EXPECT_EQ(desktop.alerts[0].title, "No Internet");
    EXPECT_EQ(desktop.alerts[0].message, "System is not connected to internet.");
    EXPECT_EQ(desktop.alerts[0].defaultButton, "OK");
}

TEST_F(Services, AnEqualVersionIsUpToDateOnRequest)
{
    LoopbackServer server(published("1.0.0"));
    launchAgainst(server);
    ASSERT_TRUE(ask());
    EXPECT_EQ(desktop.alerts[0].title, "App Up to date");
    EXPECT_EQ(desktop.alerts[0].message, "Your app is up to date.");
}

TEST_F(Services, AnEqualVersionIsPassedOverAtStart)
{
    LoopbackServer server(published("1.0.0"));
    launchAgainst(server);
    ASSERT_TRUE(waitFor([&] { return server.requests().size() == 1; }));
    QTest::qWait(200);
    EXPECT_TRUE(desktop.alerts.empty());
}

TEST_F(Services, AnOlderPublishedVersionOffersAnUpdateToo)
{
    version = "2.0";
    LoopbackServer server(published("1.9"));
    launchAgainst(server);
    desktop.alertAnswers = {AlertAnswer::Alternate};
    ASSERT_TRUE(ask());
    EXPECT_EQ(desktop.alerts[0].title, "A newer version of Talvek PSD Repair is available");
    EXPECT_EQ(desktop.alerts[0].message, "Do you want to update?");
    EXPECT_EQ(desktop.alerts[0].defaultButton, "YES");
    EXPECT_EQ(desktop.alerts[0].alternateButton, "NO");
    EXPECT_EQ(desktop.alerts[0].otherButton, "");
    EXPECT_TRUE(desktop.launched.isEmpty());
}

TEST_F(Services, ANewerVersionIsOfferedAtStart)
{
    LoopbackServer server(published("1.0.1"));
    desktop.alertAnswers = {AlertAnswer::Alternate};
    launchAgainst(server);
    ASSERT_TRUE(waitFor([this] { return !desktop.alerts.empty(); }));
    EXPECT_EQ(desktop.alerts[0].title, "A newer version of Talvek PSD Repair is available");
}

TEST_F(Services, YesAndAnyOtherAnswerButNoLaunchTheUpdaterBesideTheBundle)
{
    LoopbackServer server(published("3"));
    launchAgainst(server);
    desktop.alertAnswers = {AlertAnswer::Default, AlertAnswer::Other, AlertAnswer::Alternate};
    ASSERT_TRUE(ask() && ask() && ask());
    EXPECT_EQ(desktop.launched, QStringList(2, path(".autoUpd.app")));
}

TEST_F(Services, OneAnswerServesTheStartAndTheUser)
{
    LoopbackServer server(published("1.0.0"));
    launchAgainst(server);
    app->checkForUpdate(nullptr);
    ASSERT_TRUE(ask());
    EXPECT_EQ(desktop.alertTitles(), QStringList("App Up to date"));
}

TEST_F(Services, WhileAnUpdateAlertStandsNoOtherIsPutOnTop)
{
    LoopbackServer server(published("9"));
    launchAgainst(server);
    desktop.whileAlertStands = [&] {
        desktop.alertAnswers = {AlertAnswer::Alternate};
        desktop.connected = false;
        app->checkForUpdate(nullptr);
        app->checkForUpdate(app->window());
        QTest::qWait(700);
    };
    ASSERT_TRUE(ask());
    EXPECT_EQ(desktop.mostAlertsStanding, 1);
    EXPECT_TRUE(find<QWidget>("updateButton")->isEnabled());
}

TEST_F(Services, AnAnswerWaitsForThePanelThatIsInItsWay)
{
    launch();
    QDialog panel(app->window());
    panel.setModal(true);
    panel.show();
    desktop.connected = false;
    const int before = desktop.timesConnectivityAsked;
    ASSERT_TRUE(waitFor([&] {
        app->checkForUpdate(nullptr);
        return desktop.timesConnectivityAsked > before;
    }));
    EXPECT_TRUE(desktop.alerts.empty());
    panel.close();
    ASSERT_TRUE(waitFor([this] { return !desktop.alerts.empty(); }));
    EXPECT_EQ(desktop.alertTitles(), QStringList("No Internet"));
}

TEST_F(Services, BlanksInTheAddressAreFetchedAsPercent20)
{
    LoopbackServer server(published("1.0.0"));
    launchAgainst(server, "/my folder/psd repair/");
    ASSERT_TRUE(ask());
    EXPECT_TRUE(server.requests().contains("GET /my%20folder/psd%20repair/Info.plist HTTP/1.1"));
}

TEST_F(Services, ABinaryPropertyListIsUnderstood)
{
    LoopbackServer server(publishedBinary("7.7"));
    launchAgainst(server);
    ASSERT_TRUE(ask());
    EXPECT_EQ(desktop.alerts[0].title, "A newer version of Talvek PSD Repair is available");
}

TEST_F(Services, AListWithoutTheVersionCountsAsUpToDate)
{
    LoopbackServer server(
        "<plist version=\"1.0\"><dict><key>a</key><string>b</string></dict></plist>");
    launchAgainst(server);
    ASSERT_TRUE(ask());
    EXPECT_EQ(desktop.alertTitles(), QStringList("App Up to date"));
}

TEST_F(Services, WhatIsNoPropertyListCountsAsUpToDate)
{
    LoopbackServer server("<html><body>Sign in to the network</body></html>");
    launchAgainst(server);
    ASSERT_TRUE(ask());
    EXPECT_EQ(desktop.alertTitles(), QStringList("App Up to date"));
}

TEST_F(Services, AServerThatIsNotThereCountsAsUpToDate)
{
    cloudPlistUrl = "http://127.0.0.1:9/psd";
    launch();
    ASSERT_TRUE(ask());
    EXPECT_EQ(desktop.alertTitles(), QStringList("App Up to date"));
}

TEST_F(Services, AnEndlessAnswerIsCutOff)
{
    LoopbackServer server(LoopbackServer::Manner::Endless);
    launchAgainst(server);
    ASSERT_TRUE(ask());
    EXPECT_EQ(desktop.alertTitles(), QStringList("App Up to date"));
    EXPECT_LT(server.bytesSent(), 64 << 20);
}

TEST_F(Services, ASlowServerIsGivenUpWhileTheWindowGoesOn)
{
    LoopbackServer server(LoopbackServer::Manner::Silent);
    launchAgainst(server);
    app->setUpdateTimeOut(300);
    app->checkForUpdate(app->window());
    EXPECT_TRUE(desktop.alerts.empty());
    EXPECT_FALSE(find<QWidget>("updateButton")->isEnabled());
    ASSERT_TRUE(waitFor([this] { return !desktop.alerts.empty(); }));
    EXPECT_EQ(desktop.alertTitles(), QStringList("App Up to date"));
    EXPECT_TRUE(find<QWidget>("updateButton")->isEnabled());
}

TEST_F(Services, ADripFeedIsGivenUpAsWell)
{
    LoopbackServer server(LoopbackServer::Manner::Dripping);
    launchAgainst(server);
    app->setUpdateTimeOut(400);
    ASSERT_TRUE(ask());
    EXPECT_EQ(desktop.alertTitles(), QStringList("App Up to date"));
}

TEST_F(Services, ARedirectIsFollowed)
{
    LoopbackServer target(published("9"));
    LoopbackServer server(QUrl(target.address() + "/Info.plist"));
    launchAgainst(server);
    ASSERT_TRUE(ask());
    EXPECT_EQ(desktop.alerts[0].title, "A newer version of Talvek PSD Repair is available");
}

TEST_F(Services, ARedirectToALocalFileIsNotFollowed)
{
    LoopbackServer server(QUrl::fromLocalFile(write("Info.plist", published("9"))));
    launchAgainst(server);
    ASSERT_TRUE(ask());
    EXPECT_EQ(desktop.alertTitles(), QStringList("App Up to date"));
}

TEST(PropertyLists, AMillionNestedArraysAreNoList)
{
    const QByteArray deep = "<plist><dict><key>k</key>" + QByteArray("<array>").repeated(100'000);
    EXPECT_FALSE(PropertyList(deep).string("k").has_value());
}

TEST(PropertyLists, AnyCutOrFlippedByteIsMetCalmly)
{
    const QByteArray binary = publishedBinary("1.2.3");
    for (qsizetype cut = 0; cut < binary.size(); ++cut) {
        EXPECT_FALSE(
            PropertyList(binary.left(cut)).string("CFBundleShortVersionString").has_value());
        for (int bit = 0; bit < 8; ++bit) {
            QByteArray flipped = binary;
            flipped[cut] = static_cast<char>(flipped[cut] ^ (1 << bit));
            const auto read = PropertyList(flipped).string("CFBundleShortVersionString");
            EXPECT_LE(read.value_or(QString()).size(), binary.size());
        }
    }
}

TEST(PropertyLists, AValueThatIsNoStringIsNone)
{
    const PropertyList list("<plist><dict><key>k</key><integer>3</integer></dict></plist>");
    EXPECT_FALSE(list.string("k").has_value());
}

} // namespace talvek::test
