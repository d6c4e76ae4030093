#include "frontend/StateMark.h"

#include <QCoreApplication>
#include <QPainter>
#include <QPixmap>

#include <array>

namespace talvek::StateMark {

namespace {

using recovery::State;

constexpr int kSize = 16;
constexpr double kLine = 1.7;

void paintWhole(QPainter& painter, const QColor& color, bool isDark)
{
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawEllipse(QPointF(8, 8), 6.5, 6.5);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(isDark ? QColor(0x1c, 0x1e, 0x22) : QColor(Qt::white), kLine, Qt::SolidLine,
                        Qt::RoundCap, Qt::RoundJoin));
    painter.drawPolyline(QPolygonF({QPointF(5.2, 8.2), QPointF(7.2, 10.2), QPointF(10.9, 6.1)}));
}

void paintUnproved(QPainter& painter, const QColor& color)
{
    painter.setPen(QPen(color, kLine));
    painter.drawEllipse(QPointF(8, 8), 5.8, 5.8);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawEllipse(QPointF(8, 8), 2, 2);
}

void paintPartial(QPainter& painter, const QColor& color)
{
    painter.setPen(QPen(color, kLine));
    painter.drawEllipse(QPointF(8, 8), 5.8, 5.8);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawPie(QRectF(2.2, 2.2, 11.6, 11.6), 90 * 16, 180 * 16);
}

void paintLost(QPainter& painter, const QColor& color)
{
    painter.setPen(QPen(color, kLine, Qt::SolidLine, Qt::RoundCap));
    painter.drawEllipse(QPointF(8, 8), 5.8, 5.8);
    painter.drawLine(QPointF(6, 6), QPointF(10, 10));
    painter.drawLine(QPointF(10, 6), QPointF(6, 10));
}

QPixmap painted(State state, bool isDark, int scale)
{
    QPixmap pixmap(kSize * scale, kSize * scale);
    pixmap.fill(Qt::transparent);
    pixmap.setDevicePixelRatio(scale);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor ink = color(state, isDark);
    switch (state) {
    case State::Whole:
        paintWhole(painter, ink, isDark);
        break;
    case State::Unproved:
        paintUnproved(painter, ink);
        break;
    case State::Partial:
        paintPartial(painter, ink);
        break;
    case State::Lost:
        paintLost(painter, ink);
        break;
    }
    return pixmap;
}

} // namespace

QString word(State state)
{
    switch (state) {
    case State::Whole:
        return QCoreApplication::translate("StateMark", "Whole");
    case State::Unproved:
        return QCoreApplication::translate("StateMark", "Unproved");
    case State::Partial:
        return QCoreApplication::translate("StateMark", "Partial");
    case State::Lost:
        break;
    }
    return QCoreApplication::translate("StateMark", "Lost");
}

QColor color(State state, bool isDark)
{
    constexpr std::array<QRgb, 4> kOnLight = {0xFF15734A, 0xFF3B5BA9, 0xFFA14A00, 0xFFB42318};
    constexpr std::array<QRgb, 4> kOnDark = {0xFF5BCB92, 0xFF9DB4F5, 0xFFF2A65A, 0xFFFF8A80};
    const auto index = static_cast<std::size_t>(state);
    return isDark ? kOnDark.at(index) : kOnLight.at(index);
}

QIcon icon(State state, bool isDark)
{
    QIcon result;
    for (const int scale : {1, 2, 3}) {
        const QPixmap pixmap = painted(state, isDark, scale);
        result.addPixmap(pixmap);
        // A selection does not tint it.
        result.addPixmap(pixmap, QIcon::Selected);
    }
    return result;
}

} // namespace talvek::StateMark
