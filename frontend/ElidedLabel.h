#pragma once

#include <QLabel>

namespace talvek {

/// One line of plain text that takes whatever width there is, and ends in "…" where that is too
/// little; a tool tip then shows all of it. `text()` is always the whole text. Main thread.
class ElidedLabel : public QLabel
{
    Q_OBJECT

public:
    using QLabel::QLabel;

    [[nodiscard]] bool isElided() const;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
};

} // namespace talvek
