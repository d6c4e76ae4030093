#include "frontend/ShownText.h"

#include <QCoreApplication>
#include <QLocale>
#include <QTextDocument>

namespace talvek {

namespace {

constexpr int kEscapeDigits = 4;
constexpr int kHexadecimal = 16;

/// Marks that turn the direction of writing can make "gpj.exe" of "exe.jpg".
bool turnsDirection(QChar character)
{
    const QChar::Direction direction = character.direction();
    return direction == QChar::DirLRE || direction == QChar::DirLRO || direction == QChar::DirRLE ||
           direction == QChar::DirRLO || direction == QChar::DirPDF || direction == QChar::DirLRI ||
           direction == QChar::DirRLI || direction == QChar::DirFSI || direction == QChar::DirPDI;
}

bool isHarmless(QChar character)
{
    const QChar::Category category = character.category();
    return category != QChar::Other_Control && category != QChar::Separator_Line &&
           category != QChar::Separator_Paragraph && !turnsDirection(character);
}

QString escaped(QChar character)
{
    if (character == QLatin1Char('\n')) {
        return QStringLiteral("\\n");
    }
    if (character == QLatin1Char('\t')) {
        return QStringLiteral("\\t");
    }
    const QString digits = QString::number(character.unicode(), kHexadecimal).toUpper();
    return QStringLiteral("\\u") + digits.rightJustified(kEscapeDigits, QLatin1Char('0'));
}

} // namespace

QString shownName(const QString& name)
{
    QString shown;
    for (const QChar character : name) {
        shown += isHarmless(character) ? QString(character) : escaped(character);
    }
    return shown;
}

QString shownInToolTip(const QString& name)
{
    return name.isEmpty() ? QString() : Qt::convertFromPlainText(shownName(name));
}

QString shownProgress(double percent, qint64 milliseconds)
{
    constexpr int kMillisecondsASecond = 1000;
    constexpr int kSecondsAMinute = 60;
    const qint64 seconds = milliseconds / kMillisecondsASecond;
    return QCoreApplication::translate("ShownText", "%1 %, %2:%3")
        .arg(QLocale().toString(percent, 'f', 0))
        .arg(seconds / kSecondsAMinute)
        .arg(seconds % kSecondsAMinute, 2, 10, QLatin1Char('0'));
}

QString shownInTitle(const QString& name)
{
    return shownName(name).replace(QLatin1String("[*]"), QLatin1String("[*][*]"));
}

} // namespace talvek
