#include "frontend/Theme.h"

#include <QApplication>
#include <QEvent>
#include <QFile>
#include <QFont>
#include <QPalette>
#include <QProxyStyle>

/// The style sheet lies in a static library, out of which it is linked only when it is asked for.
/// Outside of any namespace, because that is where the resource compiler declares it.
static void loadStyleSheetResource()
{
    Q_INIT_RESOURCE(style);
}

namespace talvek::Theme {

namespace {

/// One accent; everything else is a grey. Texts keep a contrast of 4.5 to 1 on every ground.
struct Colours
{
    const char* window;
    const char* card;
    const char* field;
    const char* border;
    const char* text;
    const char* secondary;
    const char* disabled;
    const char* accent;
    const char* accentHover;
    const char* accentPressed;
    const char* accentSoft;
    const char* focus;
};

constexpr Colours kLight = {"#f5f6f8", "#ffffff", "#ffffff", "#d5dae1", "#1b2330", "#566070",
                            "#949dab", "#2563eb", "#1d55d0", "#1847b0", "#eaf1ff", "#2563eb"};
constexpr Colours kDark = {"#1c1e22", "#25282e", "#202328", "#3d434d", "#edeff2", "#a9b1bd",
                           "#6d7684", "#2f6bed", "#447bf2", "#2459cc", "#22304d", "#7aa7ff"};

/// Letters to press with Alt work, and are not underlined: the tool tips name the shortcuts.
class PlainTexts : public QProxyStyle
{
public:
    using QProxyStyle::QProxyStyle;

    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* returned) const override
    {
        return hint == SH_UnderlineShortcut
                   ? 0
                   : QProxyStyle::styleHint(hint, option, widget, returned);
    }
};

bool isDark(const QApplication& application)
{
    const QByteArray asked = qgetenv("TALVEK_APPEARANCE");
    if (!asked.isEmpty()) {
        return asked == "dark";
    }
    constexpr int kHalfLight = 128;
    return application.palette().color(QPalette::Window).lightness() < kHalfLight;
}

QPalette paletteOf(const Colours& colours)
{
    QPalette palette{QColor(colours.card), QColor(colours.window)};
    palette.setColor(QPalette::Base, colours.field);
    palette.setColor(QPalette::AlternateBase, colours.window);
    palette.setColor(QPalette::ToolTipBase, colours.card);
    palette.setColor(QPalette::ToolTipText, colours.text);
    palette.setColor(QPalette::Highlight, colours.focus);
    palette.setColor(QPalette::Link, colours.focus);
    palette.setColor(QPalette::BrightText, Qt::white);
    palette.setColor(QPalette::PlaceholderText, colours.secondary);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        palette.setColor(role, colours.text);
        palette.setColor(QPalette::Disabled, role, colours.disabled);
    }
    palette.setColor(QPalette::HighlightedText, qGray(QColor(colours.focus).rgb()) > 128
                                                    ? QColor(Qt::black)
                                                    : QColor(Qt::white));
    return palette;
}

/// The style sheet, its @names replaced by colours and by sizes relative to the user's font.
QString styleSheetOf(const Colours& colours, const QFont& font)
{
    QFile file(QStringLiteral(":/talvek/style.qss"));
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    QString sheet = QString::fromUtf8(file.readAll());
    const auto colour = [&sheet](const char* name, const char* value) {
        sheet.replace(QLatin1String(name), QLatin1String(value));
    };
    // The longer name before the shorter one that it begins with.
    colour("@accentHover", colours.accentHover);
    colour("@accentPressed", colours.accentPressed);
    colour("@accentSoft", colours.accentSoft);
    colour("@accent", colours.accent);
    colour("@window", colours.window);
    colour("@card", colours.card);
    colour("@field", colours.field);
    colour("@border", colours.border);
    colour("@text", colours.text);
    colour("@secondary", colours.secondary);
    colour("@disabled", colours.disabled);
    colour("@focus", colours.focus);
    const qreal points = font.pointSizeF();
    const auto size = [&sheet, points](const char* name, qreal factor) {
        sheet.replace(QLatin1String(name), QString::number(points * factor, 'f', 1) + "pt");
    };
    size("@title", 1.75);
    size("@heading", 1.3);
    size("@small", 0.92);
    return sheet;
}

/// Shows the desktop's appearance, and shows it anew whenever that may have changed.
class Follower : public QObject
{
public:
    explicit Follower(QApplication& application) : QObject(&application), m_application(application)
    {
        show(isDark(application));
    }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        const bool mayHaveChanged =
            event->type() == QEvent::ThemeChange ||
            (event->type() == QEvent::ApplicationPaletteChange && watched == &m_application);
        if (mayHaveChanged && !m_isLooking) {
            // Each window is told by itself, and Qt is in the midst of its own changes.
            m_isLooking = true;
            QMetaObject::invokeMethod(
                this, [this] { lookAgain(); }, Qt::QueuedConnection);
        }
        return QObject::eventFilter(watched, event);
    }

private:
    void lookAgain()
    {
        const QPalette shown = QApplication::palette();
        // Ours lies over the desktop's, which comes to light without it.
        QApplication::setPalette(QPalette());
        const bool dark = isDark(m_application);
        QApplication::setPalette(shown);
        if (dark != m_isDark) {
            show(dark);
        }
        m_isLooking = false;
    }

    void show(bool dark)
    {
        const Colours& colours = dark ? kDark : kLight;
        QApplication::setPalette(paletteOf(colours));
        m_application.setStyleSheet(styleSheetOf(colours, QApplication::font()));
        m_isDark = dark;
    }

    QApplication& m_application;
    bool m_isDark = false;
    bool m_isLooking = false; ///< and so what changes meanwhile is our own doing
};

} // namespace

void apply(QApplication& application)
{
    loadStyleSheetResource();
    // macOS keeps its own style.
#if !defined(Q_OS_MACOS)
    QApplication::setStyle(new PlainTexts(QStringLiteral("Fusion")));
#endif
    application.installEventFilter(new Follower(application));
}

} // namespace talvek::Theme
