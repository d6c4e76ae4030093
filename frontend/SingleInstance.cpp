#include "frontend/SingleInstance.h"

#include <QCryptographicHash>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>

#include <utility>

namespace talvek {

namespace {

constexpr int kWaitMilliseconds = 2000;
constexpr qint64 kMostPathBytes = 4096;

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

bool SingleInstance::claimOrNotify(const QString& document)
{
    if (m_lock.tryLock() || m_lock.error() != QLockFile::LockFailedError) {
        // A socket that a crash has left behind.
        QLocalServer::removeServer(m_serverName);
        m_server->listen(m_serverName);
        return true;
    }
    QLocalSocket socket;
    socket.connectToServer(m_serverName);
    if (socket.waitForConnected(kWaitMilliseconds)) {
        socket.write(document.toUtf8() + '\n');
        socket.waitForBytesWritten(kWaitMilliseconds);
        socket.disconnectFromServer();
    }
    return false;
}

void SingleInstance::setOtherStarted(std::function<void(const QString&)> otherStarted)
{
    m_otherStarted = std::move(otherStarted);
}

void SingleInstance::readFromOther()
{
    QLocalSocket* socket = m_server->nextPendingConnection();
    const auto take = [this, socket] {
        if (socket->canReadLine() && m_otherStarted) {
            m_otherStarted(QString::fromUtf8(socket->readLine(kMostPathBytes)).chopped(1));
        }
    };
    socket->setReadBufferSize(kMostPathBytes);
    connect(socket, &QLocalSocket::readyRead, this, take);
    connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    take();
}

} // namespace talvek
