#include "tests/frontend/LoopbackServer.h"

#include <QTcpSocket>
#include <QTimer>

namespace talvek::test {

namespace {

constexpr int kDripMilliseconds = 50;

} // namespace

LoopbackServer::LoopbackServer(Manner manner) : m_manner(manner)
{
    listen(QHostAddress::LocalHost);
    connect(this, &QTcpServer::newConnection, this, [this] {
        QTcpSocket* socket = nextPendingConnection();
        connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { serve(socket); });
    });
}

LoopbackServer::LoopbackServer(QByteArray body) : LoopbackServer(Manner::Answer)
{
    m_body = std::move(body);
}

LoopbackServer::LoopbackServer(const QUrl& redirectTo) : LoopbackServer(Manner::Redirect)
{
    m_body = redirectTo.toEncoded();
}

QString LoopbackServer::address() const
{
    return QStringLiteral("http://127.0.0.1:%1").arg(serverPort());
}

void LoopbackServer::serve(QTcpSocket* socket)
{
    m_requests << QString::fromLatin1(socket->readLine()).trimmed();
    socket->readAll();
    switch (m_manner) {
    case Manner::Answer:
        socket->write("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: " +
                      QByteArray::number(m_body.size()) + "\r\n\r\n" + m_body);
        socket->disconnectFromHost();
        return;
    case Manner::Redirect:
        socket->write("HTTP/1.1 302 Found\r\nConnection: close\r\nContent-Length: 0\r\nLocation: " +
                      m_body + "\r\n\r\n");
        socket->disconnectFromHost();
        return;
    case Manner::Endless:
        socket->write("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n");
        connect(socket, &QTcpSocket::bytesWritten, this, [this, socket] { pour(socket); });
        return;
    case Manner::Dripping:
        socket->write("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n");
        {
            auto* timer = new QTimer(socket);
            connect(timer, &QTimer::timeout, socket, [socket] { socket->write(" "); });
            timer->start(kDripMilliseconds);
        }
        return;
    case Manner::Silent:
        return;
    }
}

void LoopbackServer::pour(QTcpSocket* socket)
{
    constexpr qint64 kMostAhead = 1 << 20;
    if (socket->bytesToWrite() < kMostAhead) {
        m_bytesSent += socket->write(QByteArray(1 << 16, '<'));
    }
}

} // namespace talvek::test
