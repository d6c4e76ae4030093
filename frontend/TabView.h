#pragma once

#include <QStackedWidget>

namespace talvek {

/// The screens, of which one is seen. Each page carries its identifier, a string, as the property
/// "identifier".
class TabView : public QStackedWidget
{
    Q_OBJECT

public:
    explicit TabView(QWidget* parent = nullptr) : QStackedWidget(parent) {}

    [[nodiscard]] QString selectedIdentifier() const;
    /// Shows the page of that identifier; does nothing if there is none.
    void selectTabViewItemWithIdentifier(const QString& identifier);
};

} // namespace talvek
