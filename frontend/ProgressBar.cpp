#include "frontend/ProgressBar.h"

#include <algorithm>
#include <cmath>

namespace talvek {

namespace {

/// Fine enough for a bar that crosses any screen.
constexpr int kSteps = 10000;

} // namespace

ProgressBar::ProgressBar(QWidget* parent) : QProgressBar(parent)
{
    setRange(0, kSteps);
    setValue(0);
    setTextVisible(false);
}

void ProgressBar::setDoubleValue(double value)
{
    m_value = value;
    showFraction();
}

void ProgressBar::setMinValue(double minimum)
{
    m_minimum = minimum;
    showFraction();
}

void ProgressBar::setMaxValue(double maximum)
{
    m_maximum = maximum;
    showFraction();
}

double ProgressBar::fractionShown() const
{
    const double fraction = (m_value - m_minimum) / (m_maximum - m_minimum);
    return std::isfinite(fraction) ? std::clamp(fraction, 0.0, 1.0) : 0.0;
}

void ProgressBar::showFraction()
{
    setValue(static_cast<int>(std::lround(fractionShown() * kSteps)));
}

} // namespace talvek
