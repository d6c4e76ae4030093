#pragma once

#include <QMainWindow>

#include <functional>
#include <memory>

namespace Ui {
class MainWindow;
}

namespace talvek {

/// The window with the screens. It decides nothing: closing and dropped files are put to its
/// delegate.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    struct Delegate
    {
        std::function<bool()> shouldClose;
        std::function<void()> willClose;
        /// A file may be dropped now.
        std::function<bool()> acceptsFile;
        /// At least one.
        std::function<void(const QStringList& paths)> filesDropped;
    };

    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    [[nodiscard]] Ui::MainWindow& ui() { return *m_ui; }
    void setDelegate(Delegate delegate) { m_delegate = std::move(delegate); }

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void showDropping(bool dropping);

    std::unique_ptr<Ui::MainWindow> m_ui;
    Delegate m_delegate;
};

} // namespace talvek
