#pragma once

#include "frontend/DeepResults.h"
#include "frontend/Desktop.h"
#include "frontend/FileCopier.h"

#include <QObject>
#include <QStringList>
#include <QThreadPool>

#include <atomic>
#include <memory>
#include <vector>

class QWidget;

namespace talvek {

/// Saves what a deep recovery gave to a place of the user's choice: asks for the place, tests it,
/// and copies off the main thread. Nothing is overwritten unasked, and the damaged document and the
/// program's own folders never are. Main thread.
class DeepSaver : public QObject
{
    Q_OBJECT

public:
    enum class What : std::uint8_t
    {
        LayeredDocument, ///< one file
        Pictures,        ///< the layers, masks and the whole picture, in one folder
        Everything,      ///< as it stands in the working folder
    };

    /// @param desktop, system  outlive the object
    /// @param window           that panels and alerts hang on; likewise
    DeepSaver(Desktop& desktop, SystemCalls& system, QWidget* window, QObject* parent);
    /// Cancels what is being copied, and waits.
    ~DeepSaver() override;

    /// Asks where to, and saves there. Not while it saves already.
    /// @param ownFolders  the program's, in which nothing may be saved
    void save(What what, const std::shared_ptr<const DeepResults>& results,
              const QStringList& ownFolders);
    void cancel();
    [[nodiscard]] bool isSaving() const { return m_isSaving; }
    [[nodiscard]] bool isCancelling() const { return m_isSaving && m_cancel; }
    /// Bytes to be copied and copied so far.
    [[nodiscard]] qint64 totalBytes() const { return m_totalBytes; }
    [[nodiscard]] qint64 copiedBytes() const { return m_copiedBytes; }

signals:
    /// Saving has begun, moved on, or ended.
    void changed();
    /// All files are whole in their place.
    void saved(DeepSaver::What what);

private:
    struct Plan;

    [[nodiscard]] static SavePanel panelFor(What what, const DeepResults& results);
    [[nodiscard]] Plan planFor(What what, const DeepResults& results, const QString& path) const;
    void panelEnded(What what, const DeepResults& results, const SaveDestination& destination);
    [[nodiscard]] bool mayUse(const QString& path, bool isFile, const DeepResults& results);
    [[nodiscard]] bool sparesDocument(const Plan& plan, const DeepResults& results);
    [[nodiscard]] bool mayReplace(const QString& path, bool isFile);
    [[nodiscard]] bool hasRoom(const Plan& plan);
    void begin(const Plan& plan, What what);
    void ended(const CopyResult& result, What what, const QString& path);
    void refuse();

    Desktop& m_desktop;
    SystemCalls& m_system;
    FileManager m_files;
    QWidget* m_window;
    QStringList m_ownFolders;
    std::atomic<bool> m_cancel{false};
    bool m_isSaving = false;
    qint64 m_totalBytes = 0;
    qint64 m_copiedBytes = 0;
    QThreadPool m_pool; ///< one thread; last, so that it ends before anything that it uses
};

} // namespace talvek
