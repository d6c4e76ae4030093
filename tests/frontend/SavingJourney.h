#pragma once

#include "platform/SystemLog.h"
#include "tests/frontend/Journey.h"

#include <QDir>

namespace talvek::test {

/// Journeys that save what a repair has salvaged.
class Saving : public Journey
{
protected:
    Saving()
    {
        m_sink = SystemLog::addSink([this](const std::string& line) { logged << line.c_str(); });
    }
    ~Saving() override { SystemLog::removeSink(m_sink); }

    /// On the results screen, with files of those sizes, to be saved into "out/NAME".
    void showResults(const std::vector<int>& sizes)
    {
        launch();
        std::vector<FileRecord> files;
        std::uint64_t total = 0;
        for (const int size : sizes) {
            const int number = static_cast<int>(files.size()) + 1;
            files.push_back(
                writeSalvaged(QStringLiteral("layer%1_image.psd").arg(number), size, number));
            total += static_cast<std::uint64_t>(size);
        }
        QDir().mkpath(path("out"));
        desktop.chosenDestination = SaveDestination{path("out"), "Repaired PSD Files"};
        postComplete(files, total);
    }
    bool saveToEnd()
    {
        app->saveFile(nullptr);
        return waitFor([this] { return !desktop.sheets.empty(); });
    }
    [[nodiscard]] QStringList savedNames() const
    {
        return QDir(saved()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }
    [[nodiscard]] QString saved() const { return path("out/Repaired PSD Files"); }
    [[nodiscard]] QString source(int number) const
    {
        return QString::fromStdString(
            (*app->arrayFiles())[static_cast<std::size_t>(number - 1)].filePath);
    }

    QStringList logged;

private:
    int m_sink = 0;
};

} // namespace talvek::test
