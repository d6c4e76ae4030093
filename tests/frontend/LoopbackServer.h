#pragma once

#include <QStringList>
#include <QTcpServer>
#include <QUrl>

namespace talvek::test {

/// A web server on this machine that answers every request in one manner.
class LoopbackServer : public QTcpServer
{
public:
    enum class Manner
    {
        Answer,
        Redirect,
        Endless,
        Silent,
        Dripping
    };

    explicit LoopbackServer(QByteArray body);
    explicit LoopbackServer(const QUrl& redirectTo);
    explicit LoopbackServer(Manner manner);

    [[nodiscard]] QString address() const;
    /// The first lines of the requests, as they came.
    [[nodiscard]] const QStringList& requests() const { return m_requests; }
    [[nodiscard]] qint64 bytesSent() const { return m_bytesSent; }

private:
    void serve(QTcpSocket* socket);
    void pour(QTcpSocket* socket);

    Manner m_manner;
    QByteArray m_body;
    QStringList m_requests;
    qint64 m_bytesSent = 0;
};

} // namespace talvek::test
