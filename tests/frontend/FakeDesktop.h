#pragma once

#include "frontend/Desktop.h"

#include <algorithm>
#include <deque>
#include <vector>

namespace talvek::test {

/// Answers panels and alerts in the user's place, and writes down what was shown.
class FakeDesktop : public Desktop
{
public:
    // Answers.
    std::optional<QString> chosenDocument;
    std::optional<SaveDestination> chosenDestination;
    std::deque<AlertAnswer> alertAnswers; ///< the default button once they are used up
    bool connected = true;
    std::function<void()> whileAlertStands; ///< what happens before the alert is answered

    // What was shown or asked for.
    std::vector<OpenPanel> openPanels;
    std::vector<SavePanel> savePanels;
    std::vector<AlertPanel> alerts;
    std::vector<AlertSheet> sheets;
    std::vector<std::function<void()>> undismissed;
    std::vector<QUrl> opened;
    QStringList launched;
    int timesConnectivityAsked = 0;
    int alertsStanding = 0;
    int mostAlertsStanding = 0;

    void beginOpenPanel(QWidget* /*window*/, const OpenPanel& panel,
                        std::function<void(std::optional<QString>)> ended) override
    {
        openPanels.push_back(panel);
        ended(chosenDocument);
    }
    void beginSavePanel(QWidget* /*window*/, const SavePanel& panel,
                        std::function<void(std::optional<SaveDestination>)> ended) override
    {
        savePanels.push_back(panel);
        ended(chosenDestination);
    }
    AlertAnswer runAlertPanel(QWidget* /*window*/, const AlertPanel& alert) override
    {
        alerts.push_back(alert);
        mostAlertsStanding = std::max(mostAlertsStanding, ++alertsStanding);
        if (whileAlertStands) {
            whileAlertStands();
        }
        --alertsStanding;
        if (alertAnswers.empty()) {
            return AlertAnswer::Default;
        }
        const AlertAnswer answer = alertAnswers.front();
        alertAnswers.pop_front();
        return answer;
    }
    void beginAlertSheet(QWidget* /*window*/, const AlertSheet& alert,
                         std::function<void()> dismissed) override
    {
        sheets.push_back(alert);
        undismissed.push_back(std::move(dismissed));
    }
    void openURL(const QUrl& url) override { opened.push_back(url); }
    void launchApplication(const QString& path) override { launched << path; }
    bool isConnectedToInternet() override
    {
        ++timesConnectivityAsked;
        return connected;
    }

    /// Presses the button of the sheet that was shown last.
    void dismissSheet()
    {
        const std::function<void()> dismissed = undismissed.back();
        undismissed.pop_back();
        dismissed();
    }
    [[nodiscard]] QStringList alertTitles() const
    {
        QStringList titles;
        for (const AlertPanel& alert : alerts) {
            titles << alert.title;
        }
        return titles;
    }
    [[nodiscard]] QStringList sheetTexts() const
    {
        QStringList texts;
        for (const AlertSheet& sheet : sheets) {
            texts << sheet.messageText;
        }
        return texts;
    }
};

} // namespace talvek::test
