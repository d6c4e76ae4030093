#include "frontend/MainWindow.h"

#include "ui_MainWindow.h"

#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QMimeData>
#include <QStyle>

namespace talvek {

namespace {

/// The files of this machine that are dragged.
QStringList filesIn(const QMimeData* data)
{
    QStringList files;
    for (const QUrl& url : data->urls()) {
        if (url.isLocalFile()) {
            files << url.toLocalFile();
        }
    }
    return files;
}

} // namespace

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent), m_ui(std::make_unique<Ui::MainWindow>())
{
    m_ui->setupUi(this);
    setAcceptDrops(true);
}

MainWindow::~MainWindow() = default;

void MainWindow::closeEvent(QCloseEvent* event)
{
    if (m_delegate.shouldClose && !m_delegate.shouldClose()) {
        event->ignore();
        return;
    }
    event->accept();
    if (m_delegate.willClose) {
        m_delegate.willClose();
    }
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event)
{
    if (m_delegate.acceptsFile && m_delegate.acceptsFile() &&
        !filesIn(event->mimeData()).isEmpty()) {
        event->setDropAction(Qt::CopyAction);
        event->accept();
        showDropping(true);
    }
}

void MainWindow::dragMoveEvent(QDragMoveEvent* event)
{
    event->setDropAction(Qt::CopyAction);
    event->accept();
}

void MainWindow::dragLeaveEvent(QDragLeaveEvent* /*event*/)
{
    showDropping(false);
}

void MainWindow::dropEvent(QDropEvent* event)
{
    showDropping(false);
    const QStringList paths = filesIn(event->mimeData());
    if (paths.isEmpty() || !m_delegate.filesDropped) {
        return;
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
    // From the event loop: the program that they come from waits until this event is done with.
    QMetaObject::invokeMethod(
        this, [this, paths] { m_delegate.filesDropped(paths); }, Qt::QueuedConnection);
}

void MainWindow::showDropping(bool dropping)
{
    m_ui->dropZone->setProperty("dropping", dropping);
    // Rules that look at a property are matched anew only when the style is set anew.
    m_ui->dropZone->style()->unpolish(m_ui->dropZone);
    m_ui->dropZone->style()->polish(m_ui->dropZone);
}

} // namespace talvek
