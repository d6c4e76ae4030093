#pragma once

#include "frontend/Bundle.h"
#include "frontend/Desktop.h"

#include <QDir>

namespace talvek {

/// The desktop itself.
class QtDesktop : public Desktop
{
public:
    /// @param bundle  where the alerts' images are
    explicit QtDesktop(Bundle bundle) : m_bundle(std::move(bundle)) {}

    void beginOpenPanel(QWidget* window, const OpenPanel& panel,
                        std::function<void(std::optional<QString>)> ended) override;
    void beginSavePanel(QWidget* window, const SavePanel& panel,
                        std::function<void(std::optional<SaveDestination>)> ended) override;
    AlertAnswer runAlertPanel(QWidget* window, const AlertPanel& alert) override;
    void beginAlertSheet(QWidget* window, const AlertSheet& alert,
                         std::function<void()> dismissed) override;
    void openURL(const QUrl& url) override;
    void launchApplication(const QString& path) override;
    bool isConnectedToInternet() override;

private:
    Bundle m_bundle;
    QString m_openFolder = QDir::homePath(); ///< where the open panel was left
};

} // namespace talvek
