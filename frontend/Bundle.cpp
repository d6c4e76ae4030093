#include "frontend/Bundle.h"

#include "frontend/PropertyList.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace talvek {

Bundle Bundle::mainBundle()
{
    // .../NAME.app/Contents/MacOS, two folders below the bundle.
    QDir folder(QCoreApplication::applicationDirPath());
    return Bundle(QDir::cleanPath(folder.absoluteFilePath(QStringLiteral("../.."))));
}

QString Bundle::containingFolder() const
{
    return QFileInfo(m_path).absolutePath();
}

QString Bundle::resourcePath(const QString& name) const
{
    return m_path + QStringLiteral("/Contents/Resources/") + name;
}

std::optional<QString> Bundle::infoString(const char* key) const
{
    return PropertyList::fromFile(m_path + QStringLiteral("/Contents/Info.plist")).string(key);
}

QIcon Bundle::imageNamed(const QString& name) const
{
    const QString path = resourcePath(name + QStringLiteral(".png"));
    // The "@2x" twin beside it is found by the icon itself.
    return QFileInfo::exists(path) ? QIcon(path) : QIcon();
}

} // namespace talvek
