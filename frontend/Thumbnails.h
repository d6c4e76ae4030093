#pragma once

#include "frontend/preview/PictureSource.h"
#include "frontend/preview/RowSpan.h"

#include <QCache>
#include <QImage>
#include <QObject>
#include <QSet>
#include <QThreadPool>

#include <memory>
#include <vector>

namespace talvek {

/// Small pictures of files, made on a thread of their own when they are asked for, and kept as long
/// as there is room. What was asked for last comes first, because that is what is seen; memory is
/// that of a screenful and of the cache. Main thread.
class Thumbnails : public QObject
{
    Q_OBJECT

public:
    explicit Thumbnails(QObject* parent = nullptr);
    ~Thumbnails() override;

    /// @param box  in logical pixels; pictures are fitted into it
    void setLook(const QSize& box, double devicePixelRatio, bool isDark);
    /// Forgets everything; what is being made is given up.
    void clear();
    /// The thumbnail, or a null image: then it is made, if there is a picture at `path`, and
    /// `ready` is emitted.
    QImage find(int key, const QString& path, const std::vector<RowSpan>& lostRows);
    /// What stands in a thumbnail's place, in its size, so that nothing moves when it comes.
    [[nodiscard]] QImage blank(bool isGroup) const;
    /// Nothing is being made or waits to be.
    [[nodiscard]] bool isIdle() const { return !m_isWorking && m_waiting.empty(); }

signals:
    void ready(int key);

private:
    struct Wish
    {
        int key = 0;
        QString path;
        std::vector<RowSpan> lostRows;
    };

    void workOnNext();
    void accept(const std::shared_ptr<CancelFlag>& token, int key, const QImage& image);

    QSize m_box{48, 36};
    double m_devicePixelRatio = 1;
    bool m_isDark = false;
    QCache<int, QImage> m_made;
    std::vector<Wish> m_waiting; ///< the most recent last
    QSet<int> m_withoutPicture;  ///< tried, in vain
    bool m_isWorking = false;
    int m_workedOn = -1;
    std::shared_ptr<CancelFlag> m_token;
    QThreadPool m_pool; ///< one thread; last, so that it ends before anything that it uses
};

} // namespace talvek
