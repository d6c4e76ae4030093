#include "frontend/preview/ReaderPicture.h"

#include "platform/FileHandle.h"

#include <QFile>
#include <QImageReader>

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

namespace talvek {

namespace {

/// The name by which Qt knows the file's kind; empty for kinds that are not shown. Only these two
/// readers ever see a salvaged file: its bytes must not choose among all that are installed.
QByteArray formatOf(const QString& path)
{
    constexpr std::array<std::uint8_t, 3> kJpeg = {0xFF, 0xD8, 0xFF};
    constexpr std::array<std::uint8_t, 8> kPng = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
    ReadingFileHandle file(SystemCalls::real(), QFile::encodeName(path).toStdString());
    std::array<std::uint8_t, 8> start = {};
    const std::size_t count = file.size() > 0 ? file.read(0, start) : 0;
    const auto begins = [&](const auto& signature) {
        return count >= signature.size() &&
               std::equal(signature.begin(), signature.end(), start.begin());
    };
    return begins(kJpeg) ? "jpeg" : begins(kPng) ? "png" : QByteArray();
}

} // namespace

std::unique_ptr<ReaderPicture> ReaderPicture::open(const QString& path)
{
    const QByteArray format = formatOf(path);
    if (format.isEmpty()) {
        return nullptr;
    }
    auto file = std::make_unique<QFile>(path);
    if (!file->open(QIODevice::ReadOnly)) {
        return nullptr;
    }
    const QSize size = QImageReader(file.get(), format).size();
    if (size.isEmpty()) {
        return nullptr;
    }
    return std::unique_ptr<ReaderPicture>(new ReaderPicture(std::move(file), format, size));
}

ReaderPicture::ReaderPicture(std::unique_ptr<QFile> file, QByteArray format, QSize size)
    : m_file(std::move(file)), m_format(std::move(format)), m_size(size)
{}

QImage ReaderPicture::decode(const QRect& part, const QSize& target, const CancelFlag& canceled)
{
    const QRect wanted = part & QRect(QPoint(0, 0), m_size);
    if (wanted.isEmpty() || target.isEmpty() || canceled || !m_file->seek(0)) {
        return {};
    }
    QImageReader reader(m_file.get(), m_format);
    if (wanted.size() != m_size) {
        reader.setClipRect(wanted);
    }
    const QSize reduced = target.boundedTo(wanted.size());
    if (reduced != wanted.size()) {
        reader.setScaledSize(reduced);
    }
    const QImage image = reader.read();
    return image.isNull() ? image : image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

} // namespace talvek
