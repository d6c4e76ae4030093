#include "TestDocument.h"
#include "frontend/PreviewView.h"

#include <QNativeGestureEvent>
#include <QPointingDevice>
#include <QSignalSpy>
#include <QTest>
#include <QWheelEvent>
#include <gtest/gtest.h>

#include <memory>

namespace talvek::testing {

namespace {

constexpr int kWaitMilliseconds = 30000;

class PreviewViewTest : public ::testing::Test
{
protected:
    PreviewViewTest()
    {
        m_view->resize(400, 300);
        m_view->show();
    }

    [[nodiscard]] PreviewView& view() const { return *m_view; }
    [[nodiscard]] double ratio() const { return m_view->devicePixelRatioF(); }
    [[nodiscard]] QString write(const QString& name, const TestDocument& document) const
    {
        return m_folder.write(name, document.build());
    }
    /// A picture of three times the view's size either way.
    [[nodiscard]] QString writeLarge() const
    {
        const QSize size = (QSizeF(1200, 900) * ratio()).toSize();
        return write("large.psd", TestDocument().size(size.width(), size.height()));
    }
    void showAndWait(const QString& path) const
    {
        view().showFile(path);
        waitUntilSharp();
    }
    void waitUntilSharp() const
    {
        EXPECT_TRUE(QTest::qWaitFor([this] { return !view().isBusy(); }, kWaitMilliseconds));
    }
    /// What is on the screen, in its own pixels.
    [[nodiscard]] QImage seen() const
    {
        QImage image = view().grab().toImage().convertToFormat(QImage::Format_RGB32);
        image.setDevicePixelRatio(1.0);
        return image;
    }
    /// What a picture that is shown in actual size looks like; it must be opaque.
    [[nodiscard]] QImage expectedPart(const QString& path) const
    {
        return decoded(path)
            .copy(view().viewport().visiblePart())
            .convertToFormat(QImage::Format_RGB32);
    }
    void turnWheel(const QPoint& angle, Qt::KeyboardModifiers modifiers, const QPointF& at) const
    {
        QWheelEvent event(at, view().mapToGlobal(at), QPoint(), angle, Qt::NoButton, modifiers,
                          Qt::NoScrollPhase, false);
        QApplication::sendEvent(m_view.get(), &event);
    }

    TestFolder m_folder;

private:
    std::unique_ptr<PreviewView> m_view = std::make_unique<PreviewView>();
};

TEST_F(PreviewViewTest, SmallPictureIsShownPixelForPixelInTheMiddle)
{
    const QString path = write("a.psd", TestDocument().size(60, 40));
    showAndWait(path);
    EXPECT_EQ(view().pictureSize(), QSize(60, 40));
    EXPECT_EQ(view().zoom(), 1.0);
    const QRect place = view().viewport().pictureRect().toRect();
    EXPECT_EQ(place.center(), QPoint(seen().width() / 2 - 1, seen().height() / 2 - 1));
    EXPECT_EQ(seen().copy(place), decoded(path).convertToFormat(QImage::Format_RGB32));
}

TEST_F(PreviewViewTest, LargePictureIsFitted)
{
    showAndWait(writeLarge());
    EXPECT_DOUBLE_EQ(view().zoom(), 1.0 / 3);
    EXPECT_TRUE(view().isFitted());
    EXPECT_EQ(view().viewport().pictureRect().toRect(), seen().rect());
}

TEST_F(PreviewViewTest, ActualSizeShowsThePictureItselfWhereverOneScrolls)
{
    const QString path = writeLarge();
    showAndWait(path);
    view().showActualSize();
    waitUntilSharp();
    // Inside the ring of the focus, at twice the resolution too.
    const QRect inside(30, 30, 300, 200);
    EXPECT_EQ(seen().copy(inside), expectedPart(path).copy(inside));
    for (int i = 0; i < 20; ++i) {
        QTest::keyClick(&view(), Qt::Key_Right);
        QTest::keyClick(&view(), Qt::Key_Down);
    }
    waitUntilSharp();
    EXPECT_EQ(view().viewport().visiblePart().bottomRight(),
              QRect(QPoint(0, 0), view().pictureSize()).bottomRight());
    EXPECT_EQ(seen().copy(inside), expectedPart(path).copy(inside));
}

TEST_F(PreviewViewTest, KeysZoomAndFit)
{
    showAndWait(writeLarge());
    QSignalSpy changes(&view(), &PreviewView::zoomChanged);
    QTest::keyClick(&view(), Qt::Key_1);
    EXPECT_EQ(view().zoom(), 1.0);
    QTest::keyClick(&view(), Qt::Key_Plus);
    EXPECT_EQ(view().zoom(), 1.25);
    QTest::keyClick(&view(), Qt::Key_Minus);
    EXPECT_EQ(view().zoom(), 1.0);
    QTest::keyClick(&view(), Qt::Key_0);
    EXPECT_TRUE(view().isFitted());
    QTest::keyClick(&view(), Qt::Key_1, Qt::ControlModifier);
    EXPECT_EQ(view().zoom(), 1.0);
    QTest::keyClick(&view(), Qt::Key_0, Qt::ControlModifier);
    EXPECT_TRUE(view().isFitted());
    EXPECT_EQ(changes.count(), 6);
    QTest::keyClick(&view(), Qt::Key_0);
    EXPECT_EQ(changes.count(), 6);
}

TEST_F(PreviewViewTest, KeysThatItDoesNotUseGoOnToTheWindow)
{
    QKeyEvent arrow(QEvent::KeyPress, Qt::Key_Left, Qt::NoModifier);
    showAndWait(write("a.psd", TestDocument())); // nothing to scroll
    QApplication::sendEvent(&view(), &arrow);
    EXPECT_FALSE(arrow.isAccepted());
}

TEST_F(PreviewViewTest, WheelScrollsAndWithControlZoomsAroundThePointer)
{
    showAndWait(writeLarge());
    view().showActualSize();
    const QPoint before = view().viewport().visiblePart().topLeft();
    turnWheel({0, -120}, Qt::NoModifier, {100, 100});
    EXPECT_GT(view().viewport().visiblePart().y(), before.y());
    EXPECT_EQ(view().viewport().visiblePart().x(), before.x());
    turnWheel({0, -120}, Qt::ShiftModifier, {100, 100});
    EXPECT_GT(view().viewport().visiblePart().x(), before.x());
    const QPointF pointer(120, 90);
    const QPointF under = view().viewport().pictureAt(pointer * ratio());
    turnWheel({0, 120}, Qt::ControlModifier, pointer);
    EXPECT_DOUBLE_EQ(view().zoom(), 1.25);
    EXPECT_NEAR(view().viewport().pictureAt(pointer * ratio()).x(), under.x(), 1.0);
    EXPECT_NEAR(view().viewport().pictureAt(pointer * ratio()).y(), under.y(), 1.0);
}

TEST_F(PreviewViewTest, PinchZooms)
{
    showAndWait(writeLarge());
    view().showActualSize();
    QNativeGestureEvent pinch(Qt::ZoomNativeGesture, QPointingDevice::primaryPointingDevice(), 2,
                              QPointF(50, 50), QPointF(50, 50), QPointF(50, 50), 0.5, QPointF());
    QApplication::sendEvent(&view(), &pinch);
    EXPECT_DOUBLE_EQ(view().zoom(), 1.5);
}

TEST_F(PreviewViewTest, DraggingMovesThePictureWithThePointer)
{
    showAndWait(writeLarge());
    view().showActualSize();
    EXPECT_EQ(view().cursor().shape(), Qt::OpenHandCursor);
    const QPointF under = view().viewport().pictureAt(QPointF(200, 150) * ratio());
    QTest::mousePress(&view(), Qt::LeftButton, {}, {200, 150});
    EXPECT_EQ(view().cursor().shape(), Qt::ClosedHandCursor);
    QMouseEvent move(QEvent::MouseMove, QPointF(150, 130), QPointF(150, 130), Qt::NoButton,
                     Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&view(), &move);
    QTest::mouseRelease(&view(), Qt::LeftButton, {}, {150, 130});
    EXPECT_EQ(view().viewport().pictureAt(QPointF(150, 130) * ratio()), under);
    EXPECT_EQ(view().cursor().shape(), Qt::OpenHandCursor);
}

TEST_F(PreviewViewTest, ResizingFitsAgain)
{
    showAndWait(writeLarge());
    QSignalSpy changes(&view(), &PreviewView::zoomChanged);
    view().resize(200, 300);
    QApplication::processEvents();
    EXPECT_DOUBLE_EQ(view().zoom(), 1.0 / 6);
    EXPECT_GE(changes.count(), 1);
    waitUntilSharp();
}

TEST_F(PreviewViewTest, MissingRowsShowTheCheckerboard)
{
    Bytes bytes = TestDocument().size(64, 64).planes(0).build();
    bytes.insert(bytes.end(), 64 * 32, 0x10);
    for (const bool dark : {false, true}) {
        QPalette palette;
        palette.setColor(QPalette::Base, dark ? QColor(30, 30, 30) : QColor(255, 255, 255));
        view().setPalette(palette);
        showAndWait(m_folder.write("half.psd", bytes));
        const QImage picture = seen().copy(view().viewport().pictureRect().toRect());
        EXPECT_EQ(picture.pixel(10, 31), qRgb(0x10, 0x10, 0x10));
        const int square = static_cast<int>(8 * ratio());
        const QColor one = picture.pixelColor(square / 2, 48 + square / 2);
        const QColor other = picture.pixelColor(square + square / 2, 48 + square / 2);
        EXPECT_NE(one, other);
        EXPECT_EQ(one.lightness() < 128, dark);
        EXPECT_EQ(other.lightness() < 128, dark);
    }
}

TEST_F(PreviewViewTest, FileThatCannotBeShownLeavesTheViewEmpty)
{
    showAndWait(write("a.psd", TestDocument()));
    ASSERT_TRUE(view().hasPicture());
    for (const QString& path : {m_folder.write("bad.psd", {'8', 'B', 'P', 'S'}),
                                m_folder.path("absent.psd"), QString()}) {
        showAndWait(path);
        EXPECT_FALSE(view().hasPicture());
        EXPECT_EQ(seen().pixel(200, 150), view().palette().color(QPalette::Base).rgb());
    }
    for (const int key : {Qt::Key_0, Qt::Key_1, Qt::Key_Plus, Qt::Key_Minus, Qt::Key_Left}) {
        QTest::keyClick(&view(), static_cast<Qt::Key>(key));
    }
    view().zoomToFit();
    view().showActualSize();
    turnWheel({0, 120}, Qt::ControlModifier, {1, 1});
    EXPECT_FALSE(view().isBusy());
}

TEST_F(PreviewViewTest, SecondOfTwoFilesIsShown)
{
    const QString second = write("second.psd", TestDocument().size(31, 33));
    showAndWait(write("first.psd", TestDocument().size(50, 50)));
    showAndWait(second);
    EXPECT_EQ(view().pictureSize(), QSize(31, 33));
    const QRect place = view().viewport().pictureRect().toRect();
    EXPECT_EQ(seen().copy(place), decoded(second).convertToFormat(QImage::Format_RGB32));
}

TEST_F(PreviewViewTest, NewFileEndsTheDecodingOfTheOldOne)
{
    const QString huge = writeHugeDocument(m_folder);
    if (huge.isEmpty()) {
        GTEST_SKIP() << "The volume takes no file of 2.7 GB.";
    }
    const QString small = write("small.psd", TestDocument().size(20, 20));
    for (int i = 0; i < 10; ++i) {
        view().showFile(huge);
        QTest::qWait(3 * i);
    }
    showAndWait(small);
    EXPECT_EQ(view().pictureSize(), QSize(20, 20));
}

TEST_F(PreviewViewTest, BusySignTurnsWhileDecodingTakesLong)
{
    const QString huge = writeHugeDocument(m_folder);
    if (huge.isEmpty()) {
        GTEST_SKIP() << "The volume takes no file of 2.7 GB.";
    }
    view().resize(2000, 1500); // enough to do for long
    view().showFile(huge);
    const auto middle = [this] {
        const QImage now = seen();
        const int reach = static_cast<int>(20 * ratio());
        const QPoint centre = now.rect().center();
        return now.copy(centre.x() - reach, centre.y() - reach, 2 * reach, 2 * reach);
    };
    ASSERT_TRUE(QTest::qWaitFor([this] { return view().hasPicture(); }, kWaitMilliseconds));
    const QImage before = middle();
    bool turns = false;
    EXPECT_TRUE(QTest::qWaitFor(
        [&] {
            // Until the picture is there, nothing but the sign can change.
            const QImage now = middle();
            turns = turns || (view().isBusy() && now != before);
            return turns || !view().isBusy();
        },
        kWaitMilliseconds));
    EXPECT_TRUE(turns);
    view().clear();
    EXPECT_FALSE(view().isBusy());
}

TEST_F(PreviewViewTest, CanBeDestroyedWhileDecoding)
{
    const QString huge = writeHugeDocument(m_folder);
    if (huge.isEmpty()) {
        GTEST_SKIP() << "The volume takes no file of 2.7 GB.";
    }
    for (const int pause : {0, 1, 20, 100}) {
        auto other = std::make_unique<PreviewView>();
        other->resize(300, 300);
        other->show();
        other->showFile(huge);
        QTest::qWait(pause);
        other.reset();
    }
    // What an ended decoding still sent would reach a view that is gone.
    QApplication::processEvents();
}

TEST_F(PreviewViewTest, PictureOutlivesItsFile)
{
    const QString path = writeLarge();
    const QImage whole = decoded(path);
    showAndWait(path);
    ASSERT_TRUE(QFile::remove(path));
    view().showActualSize();
    waitUntilSharp();
    const QImage expected = whole.copy(view().viewport().visiblePart());
    EXPECT_EQ(seen().pixel(50, 50), expected.pixel(50, 50));
}

TEST_F(PreviewViewTest, SaysWhatItShowsToScreenReaders)
{
    EXPECT_EQ(view().accessibleName(), "Preview");
    view().setLocale(QLocale::c());
    showAndWait(write("layer0_image .psd", TestDocument().size(640, 480)));
    EXPECT_EQ(view().accessibleName(), "Preview of layer0_image, 640 by 480 pixels");
    EXPECT_TRUE(view().accessibleDescription().contains("arrow keys"));
    showAndWait(m_folder.path("absent.psd"));
    EXPECT_EQ(view().accessibleName(), "Preview of absent");
    EXPECT_EQ(view().accessibleDescription(), "No picture");
}

TEST_F(PreviewViewTest, ShowsThatItHasTheKeyboardFocus)
{
    EXPECT_EQ(view().focusPolicy(), Qt::StrongFocus);
    const QImage without = seen();
    view().activateWindow();
    view().setFocus();
    ASSERT_TRUE(QTest::qWaitFor([this] { return view().hasFocus(); }, 5000));
    EXPECT_NE(seen(), without);
}

} // namespace

} // namespace talvek::testing
