#pragma once

#include <QProgressBar>

namespace talvek {

/// A progress bar that holds a double, as it was given: it may lie outside the range, may go back,
/// and is brought into the range only where it is drawn.
class ProgressBar : public QProgressBar
{
    Q_OBJECT
    Q_PROPERTY(double doubleValue READ doubleValue WRITE setDoubleValue)
    Q_PROPERTY(double minValue READ minValue WRITE setMinValue)
    Q_PROPERTY(double maxValue READ maxValue WRITE setMaxValue)

public:
    explicit ProgressBar(QWidget* parent = nullptr);

    [[nodiscard]] double doubleValue() const { return m_value; }
    void setDoubleValue(double value);
    [[nodiscard]] double minValue() const { return m_minimum; }
    void setMinValue(double minimum);
    [[nodiscard]] double maxValue() const { return m_maximum; }
    void setMaxValue(double maximum);

    /// The part that is drawn as done, from 0 to 1; 0 for an empty range or a value that is no
    /// number.
    [[nodiscard]] double fractionShown() const;

private:
    void showFraction();

    double m_value = 0;
    double m_minimum = 0;
    double m_maximum = 100;
};

} // namespace talvek
