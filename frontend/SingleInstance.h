#pragma once

#include <QLockFile>
#include <QObject>

#include <functional>

class QLocalServer;

namespace talvek {

/// Sees to it that one running application has a temporary folder for itself: a second one would
/// delete what the first has salvaged. Main thread.
class SingleInstance : public QObject
{
    Q_OBJECT

public:
    enum class Claim
    {
        First,      ///< the folder is ours
        HandedOver, ///< the first one was told to come forward
        Refused     ///< another one has the folder and cannot be reached, as another user's
    };

    /// @param folder  the temporary folder; need not exist, but its parent must
    SingleInstance(const QString& folder, QObject* parent);

    /// If this is not the first, the first one is told to come forward, with the document that was
    /// to be opened, which may be empty. If this is the first and others cannot reach it, that is
    /// logged, and the folder is its own all the same.
    Claim claimOrNotify(const QString& document);
    /// Called, from the event loop, when another one was started.
    void setOtherStarted(std::function<void(const QString& document)> otherStarted);

private:
    void listen();
    [[nodiscard]] bool handOver(const QString& document) const;
    void readFromOther();

    QLockFile m_lock;
    QString m_serverName;
    QLocalServer* m_server;
    std::function<void(const QString&)> m_otherStarted;
};

} // namespace talvek
