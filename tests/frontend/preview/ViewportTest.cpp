#include "frontend/preview/Viewport.h"

#include <gtest/gtest.h>

namespace talvek::testing {

namespace {

Viewport viewOf(QSize picture, QSize view)
{
    Viewport viewport;
    viewport.setView(view);
    viewport.setPicture(picture);
    return viewport;
}

TEST(Viewport, FittingReducesButNeverEnlarges)
{
    EXPECT_EQ(viewOf({800, 300}, {400, 300}).zoom(), 0.5);
    EXPECT_EQ(viewOf({300, 900}, {400, 300}).zoom(), 300.0 / 900.0);
    EXPECT_EQ(viewOf({20, 10}, {400, 300}).zoom(), 1.0);
    EXPECT_EQ(viewOf({20, 10}, {400, 300}).pictureRect(), QRectF(190, 145, 20, 10));
}

TEST(Viewport, ZoomKeepsWhatIsUnderThePointer)
{
    Viewport viewport = viewOf({4000, 3000}, {400, 300});
    const QPointF pointer(300, 120);
    const QPointF before = viewport.pictureAt(pointer);
    viewport.zoomTo(2.0, pointer);
    EXPECT_NEAR(viewport.pictureAt(pointer).x(), before.x(), 0.5);
    EXPECT_NEAR(viewport.pictureAt(pointer).y(), before.y(), 0.5);
    EXPECT_FALSE(viewport.isFitted());
}

TEST(Viewport, ZoomIsHeldBetweenFittingAndTheMost)
{
    Viewport viewport = viewOf({4000, 3000}, {400, 300});
    viewport.zoomTo(1e9, {0, 0});
    EXPECT_EQ(viewport.zoom(), Viewport::kMostZoom);
    viewport.zoomTo(1e-9, {0, 0});
    EXPECT_EQ(viewport.zoom(), 0.1);
    EXPECT_TRUE(viewport.isFitted());
}

TEST(Viewport, StepsStopAtActualSize)
{
    const Viewport viewport = viewOf({4000, 3000}, {400, 300});
    EXPECT_EQ(viewport.stepFrom(0.9, true), 1.0);
    EXPECT_EQ(viewport.stepFrom(1.0, true), 1.25);
    EXPECT_EQ(viewport.stepFrom(1.1, false), 1.0);
    EXPECT_EQ(viewport.stepFrom(1.0, false), 0.8);
}

TEST(Viewport, ScrollingEndsAtTheEdges)
{
    Viewport viewport = viewOf({4000, 3000}, {400, 300});
    viewport.zoomTo(1.0, {200, 150});
    EXPECT_TRUE(viewport.scrollBy({1e6, 1e6}));
    EXPECT_EQ(viewport.visiblePart(), QRect(0, 0, 400, 300));
    EXPECT_FALSE(viewport.scrollBy({5, 5}));
    EXPECT_TRUE(viewport.scrollBy({-1e6, -1e6}));
    EXPECT_EQ(viewport.visiblePart(), QRect(3600, 2700, 400, 300));
}

TEST(Viewport, ResizingKeepsTheMiddle)
{
    Viewport viewport = viewOf({4000, 3000}, {400, 300});
    viewport.zoomTo(1.0, {200, 150});
    const QPointF middle = viewport.pictureAt({200, 150});
    viewport.setView({600, 500});
    EXPECT_EQ(viewport.pictureAt({300, 250}), middle);
    viewport.fit();
    viewport.setView({200, 500});
    EXPECT_EQ(viewport.zoom(), 0.05);
}

TEST(Viewport, WantsTheVisiblePartAndAMarginOnly)
{
    Viewport viewport = viewOf({30000, 30000}, {400, 300});
    viewport.zoomTo(1.0, {200, 150});
    EXPECT_EQ(viewport.visiblePart().size(), QSize(400, 300));
    EXPECT_EQ(viewport.wantedPart().size(), QSize(600, 450));
    EXPECT_EQ(Viewport::pixelsFor(viewport.wantedPart(), 1.0), QSize(600, 450));
    viewport.zoomTo(4.0, {200, 150});
    EXPECT_EQ(Viewport::pixelsFor(viewport.wantedPart(), 4.0), viewport.wantedPart().size());
}

TEST(Viewport, SliversAndEmptyViewsAreHarmless)
{
    Viewport sliver = viewOf({300000, 1}, {400, 300});
    EXPECT_EQ(sliver.pictureRect().height(), 1.0);
    EXPECT_EQ(Viewport::pixelsFor(QRect(0, 0, 300000, 1), sliver.zoom()), QSize(400, 1));
    Viewport nothing = viewOf({}, {400, 300});
    EXPECT_TRUE(nothing.isEmpty());
    EXPECT_TRUE(nothing.wantedPart().isEmpty());
    EXPECT_FALSE(nothing.scrollBy({5, 5}));
    EXPECT_TRUE(viewOf({10, 10}, {0, 0}).visiblePart().isEmpty());
}

} // namespace

} // namespace talvek::testing
