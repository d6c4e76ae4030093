#include "frontend/PropertyList.h"

#include <QFile>
#include <QtEndian>
#include <plist/plist.h>

#include <cstdlib>
#include <memory>

namespace talvek {

namespace {

/// Nodes are freed by recursion, so that a list of a million nested arrays would take the stack
/// with it. No list that we have to read comes near this many containers.
constexpr int kMostContainers = 4096;

struct FreeNode
{
    void operator()(void* node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, FreeNode>;

struct FreeText
{
    void operator()(char* text) const { std::free(text); }
};

/// Opening tags alone are counted: closing ones could be faked within a comment.
bool isModestXml(const QByteArray& bytes)
{
    return bytes.count("<dict") + bytes.count("<array") <= kMostContainers;
}

/// The number of objects, which bounds how deep they can nest, is the 64-bit number 24 bytes
/// before the end.
bool isModestBinary(const QByteArray& bytes)
{
    constexpr qsizetype kTrailerBytes = 32;
    constexpr qsizetype kCountFromEnd = 24;
    if (bytes.size() < kTrailerBytes) {
        return false;
    }
    const auto* count = bytes.constData() + bytes.size() - kCountFromEnd;
    return qFromBigEndian<quint64>(count) <= kMostContainers;
}

Node nodeOf(const QByteArray& bytes)
{
    const bool isBinary = bytes.startsWith("bplist");
    if (bytes.size() > PropertyList::kMostBytes ||
        !(isBinary ? isModestBinary(bytes) : isModestXml(bytes))) {
        return nullptr;
    }
    plist_t node = nullptr;
    const auto size = static_cast<std::uint32_t>(bytes.size());
    if (isBinary) {
        plist_from_bin(bytes.constData(), size, &node);
    } else {
        plist_from_xml(bytes.constData(), size, &node);
    }
    return Node(node);
}

} // namespace

PropertyList PropertyList::fromFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    return PropertyList(file.read(kMostBytes + 1));
}

std::optional<QString> PropertyList::string(const char* key) const
{
    const Node list = nodeOf(m_bytes);
    if (!list || plist_get_node_type(list.get()) != PLIST_DICT) {
        return std::nullopt;
    }
    plist_t item = plist_dict_get_item(list.get(), key);
    if (item == nullptr || plist_get_node_type(item) != PLIST_STRING) {
        return std::nullopt;
    }
    char* text = nullptr;
    plist_get_string_val(item, &text);
    const std::unique_ptr<char, FreeText> owned(text);
    return owned ? std::optional(QString::fromUtf8(owned.get())) : std::nullopt;
}

} // namespace talvek
