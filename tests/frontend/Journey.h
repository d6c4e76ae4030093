#pragma once

#include "frontend/TalvekRepairPSD_AppDelegate.h"
#include "tests/frontend/FakeDesktop.h"
#include "tests/frontend/FaultySystem.h"

#include <QStringList>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>

/// Failures show texts as texts.
// NOLINTNEXTLINE(readability-identifier-naming): the test library looks for this name
inline void PrintTo(const QString& text, std::ostream* stream)
{
    *stream << '"' << text.toStdString() << '"';
}

namespace talvek::test {

/// The real controller and its windows, over a bundle in a folder of its own and a desktop that
/// the test answers for.
class Journey : public ::testing::Test
{
protected:
    Journey();
    ~Journey() override;

    /// Makes the controller and starts it; `cloudPlistUrl` and the version are as set before.
    void launch();
    /// Waits in the event loop; false if it has not come about in time.
    static bool waitFor(const std::function<bool()>& condition, int milliseconds = 20'000);
    /// Everything that is queued for the main thread.
    static void drain();

    // Places.
    [[nodiscard]] QString folder() const { return m_folder.path(); }
    [[nodiscard]] QString path(const QString& name) const { return folder() + '/' + name; }
    /// Writes a file and tells its path.
    QString write(const QString& name, const QByteArray& contents) const;
    /// A document of a few layers' worth of bytes that the engine accepts.
    QString writeDocument(const QString& name = QStringLiteral("damaged.psd")) const;
    static QByteArray document(quint32 width = 10, quint32 height = 10);
    /// A salvaged file of that many bytes, as the engine lists it.
    FileRecord writeSalvaged(const QString& name, int bytes, int number = 1) const;
    static QByteArray contentsOf(const QString& path);

    // The user.
    void choose(const QString& path);
    void click(const QString& buttonName);
    template <typename Widget>
    Widget* find(const QString& name) const;
    QString screen() const;

    // The engine.
    static void post(const UserInfo& notification);
    void postComplete(const std::vector<FileRecord>& files, std::uint64_t totalBytes);
    bool repairToEnd(const QString& document);
    bool isWorking() const;

    QTemporaryDir m_folder;
    QString cloudPlistUrl = QStringLiteral("file:///nonexistent");
    QString version = QStringLiteral("1.0.0");
    FakeDesktop desktop;
    FaultySystem system;
    std::unique_ptr<TalvekRepairPSD_AppDelegate> app;
};

} // namespace talvek::test

#include "frontend/MainWindow.h"

template <typename Widget>
Widget* talvek::test::Journey::find(const QString& name) const
{
    return app->window()->findChild<Widget*>(name);
}
