#pragma once

#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>
#include <optional>

class QDialog;
class QWidget;

namespace talvek {

/// What the user answered in an alert panel.
enum class AlertAnswer
{
    Default,
    Alternate,
    Other
};

/// A modal alert: a title, a message and up to three buttons. A button without a title is not
/// shown. Escape gives `escapeAnswer`, where there is such a button, or else the default one.
struct AlertPanel
{
    QString title;
    QString message;
    QString defaultButton;
    QString alternateButton = {};
    QString otherButton = {};
    AlertAnswer escapeAnswer = AlertAnswer::Alternate;
};

/// An alert that hangs on a window and has one button.
struct AlertSheet
{
    QString messageText;
    QString button;
    QString iconName;
    QString informativeText = {};
};

/// How the panel that chooses a document is set up.
struct OpenPanel
{
    QStringList allowedFileTypes; ///< empty: files of any name
};

/// How the panel that names a new folder, or a new file, is set up.
struct SavePanel
{
    QString prompt;
    QString nameField;
    QString heading = {};         ///< what is saved; empty: all files, in a new folder
    QString nameDescription = {}; ///< what the name is of, for a screen reader; likewise
};

/// The folder or file to be made: the folder that will hold it, and its name as typed.
struct SaveDestination
{
    QString parentFolder;
    QString name;
};

/// What the desktop does for the application: panels, alerts, opening things, connectivity.
///
/// All of it goes through this one seam, so that a test can answer for the user. Main thread only.
/// A panel or sheet that was begun calls back once, from the event loop, when it has ended; it does
/// not call back after the window it hangs on is gone.
class Desktop
{
public:
    virtual ~Desktop() = default;

    /// @param ended  receives the absolute path chosen, or nothing if the panel was cancelled
    virtual void beginOpenPanel(QWidget* window, const OpenPanel& panel,
                                std::function<void(std::optional<QString>)> ended) = 0;
    virtual void beginSavePanel(QWidget* window, const SavePanel& panel,
                                std::function<void(std::optional<SaveDestination>)> ended) = 0;
    /// Returns when the user has answered.
    virtual AlertAnswer runAlertPanel(QWidget* window, const AlertPanel& alert) = 0;
    virtual void beginAlertSheet(QWidget* window, const AlertSheet& alert,
                                 std::function<void()> dismissed) = 0;

    /// Hands the address to the user's browser. The result is not looked at by anybody.
    virtual void openURL(const QUrl& url) = 0;
    /// Starts the application bundle at `path`; does nothing if it cannot be started.
    virtual void launchApplication(const QString& path) = 0;
    /// True also when it cannot be told.
    virtual bool isConnectedToInternet() = 0;
};

} // namespace talvek
