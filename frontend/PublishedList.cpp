#include "frontend/PublishedList.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTimer>

#include <utility>

namespace talvek {

namespace {

constexpr int kMostRedirects = 5;

QNetworkRequest requestFor(const QUrl& url)
{
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::NoLessSafeRedirectPolicy);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                         QNetworkRequest::AlwaysNetwork);
    // Nothing packed: the size that is limited is the size that arrives.
    request.setRawHeader("Accept-Encoding", "identity");
    request.setMaximumRedirectsAllowed(kMostRedirects);
    return request;
}

std::optional<QByteArray> bytesOf(QNetworkReply* reply)
{
    if (reply->error() != QNetworkReply::NoError) {
        return std::nullopt;
    }
    return reply->readAll();
}

} // namespace

PublishedList::PublishedList(QObject* parent)
    : QObject(parent), m_network(new QNetworkAccessManager(this))
{}

void PublishedList::fetch(const QUrl& url, Answer answer)
{
    QNetworkReply* reply = m_network->get(requestFor(url));
    // One byte more than allowed may be held, and tells that there is too much.
    reply->setReadBufferSize(kMostBytes + 1);
    auto* timeOut = new QTimer(reply);
    connect(timeOut, &QTimer::timeout, reply, &QNetworkReply::abort);
    timeOut->start(m_timeOutMilliseconds);
    connect(reply, &QNetworkReply::readyRead, this, [reply] { stopIfTooLong(reply); });
    connect(reply, &QNetworkReply::finished, this, [reply, answer = std::move(answer)] {
        reply->deleteLater();
        answer(bytesOf(reply));
    });
}

void PublishedList::stopIfTooLong(QNetworkReply* reply)
{
    if (reply->bytesAvailable() > kMostBytes) {
        reply->abort();
    }
}

} // namespace talvek
