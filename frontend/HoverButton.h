#pragma once

#include "frontend/Bundle.h"

#include <QPushButton>

class QEnterEvent;
class QPainter;

namespace talvek {

/// A push button that shows one image, and another while the pointer is over it. Which two is told
/// by its property "tag", which the layout sets; a button with any other tag keeps its image.
///
/// The image is drawn in the middle, the button's text over it, a ring around both while it has
/// the keyboard's focus. It follows the pointer only while the application is active. A button
/// with any other tag is a plain push button in every respect.
class HoverButton : public QPushButton
{
    Q_OBJECT
    Q_PROPERTY(int tag READ tag WRITE setTag)

public:
    explicit HoverButton(QWidget* parent = nullptr);

    [[nodiscard]] int tag() const { return m_tag; }
    void setTag(int tag) { m_tag = tag; }
    /// Where images are looked up; until it is set, there are none.
    void setBundle(const Bundle& bundle) { m_bundle = bundle; }

    void drawRect(const QRect& dirtyRect);
    void createTrackingArea();
    /// To be called once the layout is loaded.
    void awakeFromNib();
    void mouseEntered();
    void mouseExited();

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    bool event(QEvent* event) override;

private:
    void showImage(const QString& name);
    void drawImage(QPainter& painter) const;

    int m_tag = 0;
    Bundle m_bundle{QString()};
};

} // namespace talvek
