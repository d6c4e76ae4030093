#pragma once

#include "frontend/DeepRecoveryController.h"
#include "tests/frontend/Journey.h"
#include "tests/support/Document.h"
#include "tests/support/PsdBuilder.h"

#include <QDir>

namespace talvek::test {

/// Journeys through the deep recovery.
class DeepJourney : public Journey
{
protected:
    [[nodiscard]] QString writeDamaged(const QString& name, const Document& document) const
    {
        return write(name, QByteArray(reinterpret_cast<const char*>(document.bytes.data()),
                                      static_cast<qsizetype>(document.bytes.size())));
    }
    /// Three layers, large enough to prove themselves; the highest has a mask.
    static PsdBuilder threeLayers()
    {
        PsdBuilder builder;
        builder.size(40, 30);
        builder.layer("sky").transparent();
        builder.layer("sea").transparent().bounds(2, 3, 25, 31);
        builder.layer("sand").transparent().masked().bounds(10, 1, 29, 39);
        return builder;
    }
    /// By the home screen's button, to its end.
    bool deepToEnd(const QString& document)
    {
        choose(document);
        click("deepButton");
        return waitFor([this] { return screen() == "5"; });
    }
    bool launchAndRecover(const Document& document)
    {
        launch();
        return deepToEnd(writeDamaged("poster.psd", document));
    }
    /// A run that stands still in its reading.
    void startHeldRun()
    {
        launch();
        choose(writeDamaged("poster.psd", threeLayers().build()));
        system.holdReads = true;
        click("deepButton");
        ASSERT_TRUE(waitFor([this] { return system.heldReads > 0; }));
        ASSERT_EQ(screen(), "4");
    }
    [[nodiscard]] DeepRecoveryController& deep() const { return app->deepRecovery(); }
    [[nodiscard]] QString workingFolder() const { return path("Deep recovery"); }
    [[nodiscard]] QStringList filesIn(const QString& folder) const
    {
        return QDir(folder).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }
};

} // namespace talvek::test
