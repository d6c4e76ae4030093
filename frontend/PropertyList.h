#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace talvek {

/// The dictionary at the top of a property list, XML or binary.
///
/// The bytes may come from anywhere: whatever is not a property list of ordinary size, or has no
/// dictionary at its top, reads as a dictionary without entries. Any thread.
class PropertyList
{
public:
    /// The most bytes that are looked at; a list that is longer is not read.
    static constexpr qsizetype kMostBytes = qsizetype{1} << 20;

    PropertyList() = default;
    explicit PropertyList(QByteArray bytes) : m_bytes(std::move(bytes)) {}
    static PropertyList fromFile(const QString& path);

    /// The string under `key`; nothing if it is missing or is not a string.
    [[nodiscard]] std::optional<QString> string(const char* key) const;

private:
    QByteArray m_bytes;
};

} // namespace talvek
