#pragma once

#include <QByteArray>
#include <QObject>
#include <QUrl>

#include <functional>
#include <optional>

class QNetworkAccessManager;
class QNetworkReply;

namespace talvek {

/// Fetches a small file from a server that is not trusted: within a time, up to a size, and along
/// redirects only to an address of the same or a safer scheme. Main thread; nothing here waits.
class PublishedList : public QObject
{
    Q_OBJECT

public:
    static constexpr int kTimeOutMilliseconds = 10'000;
    static constexpr qint64 kMostBytes = qint64{1} << 20;

    using Answer = std::function<void(std::optional<QByteArray>)>;

    explicit PublishedList(QObject* parent);

    /// For tests, which cannot wait ten seconds.
    void setTimeOut(int milliseconds) { m_timeOutMilliseconds = milliseconds; }

    /// @param answer  is called once, from the event loop, with the bytes, or with nothing if they
    ///                could not be had; not at all if this object goes before
    void fetch(const QUrl& url, Answer answer);

private:
    static void stopIfTooLong(QNetworkReply* reply);

    QNetworkAccessManager* m_network;
    int m_timeOutMilliseconds = kTimeOutMilliseconds;
};

} // namespace talvek
