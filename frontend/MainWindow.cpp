#include "frontend/MainWindow.h"

#include "ui_MainWindow.h"

#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QMimeData>
#include <QStyle>

namespace talvek {

namespace {

/// The one file of this machine that is dragged; empty for anything else.
QString fileIn(const QMimeData* data)
{
    const QList<QUrl> urls = data->urls();
    return urls.size() == 1 ? urls.first().toLocalFile() : QString();
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
        !fileIn(event->mimeData()).isEmpty()) {
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
    const QString path = fileIn(event->mimeData());
    if (path.isEmpty() || !m_delegate.fileDropped) {
        return;
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
    m_delegate.fileDropped(path);
}

void MainWindow::showDropping(bool dropping)
{
    m_ui->dropZone->setProperty("dropping", dropping);
    // Rules that look at a property are matched anew only when the style is set anew.
    m_ui->dropZone->style()->unpolish(m_ui->dropZone);
    m_ui->dropZone->style()->polish(m_ui->dropZone);
}

} // namespace talvek
