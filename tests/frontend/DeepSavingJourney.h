#pragma once

#include "tests/frontend/DeepJourney.h"

namespace talvek::test {

/// Journeys that save what a deep recovery gave.
class DeepSaving : public DeepJourney
{
protected:
    /// On the results screen, about to save into "out".
    void showResults()
    {
        ASSERT_TRUE(launchAndRecover(threeLayers().build()));
        QDir().mkpath(path("out"));
    }
    bool saveToEnd(const QString& button, const QString& name)
    {
        desktop.chosenDestination = SaveDestination{path("out"), name};
        click(button);
        return waitFor([this] { return !desktop.sheets.empty() && !deep().isBusy(); });
    }
    [[nodiscard]] QByteArray recovered(const QString& name) const
    {
        return contentsOf(workingFolder() + '/' + name);
    }
};

} // namespace talvek::test
