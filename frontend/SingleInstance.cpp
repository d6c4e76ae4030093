#include "frontend/SingleInstance.h"

#include "platform/SystemLog.h"

#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <QThread>

#include <utility>

namespace talvek {

namespace {

constexpr int kWaitMilliseconds = 2000;
constexpr int kPauseMilliseconds = 50;
constexpr qint64 kMostPathBytes = 4097;
constexpr char kEndOfPath = '\0'; ///< the one byte that no path holds

QString serverNameFor(const QString& folder)
{
    const QByteArray hash =
        QCryptographicHash::hash(folder.toUtf8(), QCryptographicHash::Sha256).toHex().left(24);
    return QStringLiteral("talvek-psd-repair-") + QString::fromLatin1(hash);
}

} // namespace

SingleInstance::SingleInstance(const QString& folder, QObject* parent)
    : QObject(parent),
      m_lock(folder + QStringLiteral(".lock")),
      m_serverName(serverNameFor(folder)),
      m_server(new QLocalServer(this))
{
    // A lock goes stale only when its owner is gone, however long that one has been running.
    m_lock.setStaleLockTime(0);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    connect(m_server, &QLocalServer::newConnection, this, [this] { readFromOther(); });
}

SingleInstance::Claim SingleInstance::claimOrNotify(const QString& document)
{
    // One that is just starting does not listen yet; one that is just ending holds its lock still.
    const QDeadlineTimer deadline(kWaitMilliseconds);
    while (!deadline.hasExpired()) {
        if (m_lock.tryLock() || m_lock.error() != QLockFile::LockFailedError) {
            listen();
            return Claim::First;
        }
        if (handOver(document)) {
            return Claim::HandedOver;
        }
        QThread::msleep(kPauseMilliseconds);
    }
    return Claim::Refused;
}

/// The folder is ours either way: it is the lock that guards it. Who cannot be heard works on
/// alone.
void SingleInstance::listen()
{
    // A socket that a crash has left behind.
    QLocalServer::removeServer(m_serverName);
    if (!m_server->listen(m_serverName)) {
        SystemLog::write("A second start cannot hand its document over: " +
                         m_server->errorString().toStdString());
    }
}

bool SingleInstance::handOver(const QString& document) const
{
    QLocalSocket socket;
    socket.connectToServer(m_serverName);
    if (!socket.waitForConnected(kWaitMilliseconds)) {
        return false;
    }
    socket.write(document.toUtf8() + kEndOfPath);
    socket.waitForBytesWritten(kWaitMilliseconds);
    socket.disconnectFromServer();
    return true;
}

void SingleInstance::setOtherStarted(std::function<void(const QString&)> otherStarted)
{
    m_otherStarted = std::move(otherStarted);
}

void SingleInstance::readFromOther()
{
    QLocalSocket* socket = m_server->nextPendingConnection();
    const auto take = [this, socket] {
        const QByteArray received = socket->peek(kMostPathBytes);
        const qsizetype end = received.indexOf(kEndOfPath);
        if (end >= 0 && m_otherStarted) {
            socket->skip(end + 1);
            // From the event loop: what it leads to may ask the user, and the socket goes
            // meanwhile.
            QMetaObject::invokeMethod(
                this,
                [this, path = QString::fromUtf8(received.first(end))] { m_otherStarted(path); },
                Qt::QueuedConnection);
        }
    };
    socket->setReadBufferSize(kMostPathBytes);
    connect(socket, &QLocalSocket::readyRead, this, take);
    connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    take();
}

} // namespace talvek
