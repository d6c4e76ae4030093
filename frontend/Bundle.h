#pragma once

#include <QIcon>
#include <QPixmap>
#include <QString>

#include <optional>

namespace talvek {

/// The folder "Talvek PSD Repair.app" that the program was started from: its executable lies in
/// Contents/MacOS, its images and pages in Contents/Resources, what is known about it in
/// Contents/Info.plist, on every system. Main thread.
class Bundle
{
public:
    /// @param path  of the bundle's folder, absolute
    explicit Bundle(QString path) : m_path(std::move(path)) {}
    /// The one that holds the running executable.
    static Bundle mainBundle();

    [[nodiscard]] const QString& bundlePath() const { return m_path; }
    /// The folder that holds the bundle.
    [[nodiscard]] QString containingFolder() const;
    [[nodiscard]] QString resourcePath(const QString& name) const;
    /// The string under `key` in Info.plist, read afresh.
    [[nodiscard]] std::optional<QString> infoString(const char* key) const;
    /// The image of that name, in all the scales that there are; empty if there is none.
    [[nodiscard]] QIcon imageNamed(const QString& name) const;

private:
    QString m_path;
};

} // namespace talvek
