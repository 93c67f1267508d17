#include "platform/bundle.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QMutex>
#include <QMutexLocker>

namespace iconfoundry {

namespace {

QMutex& overrideMutex()
{
    static QMutex mutex;
    return mutex;
}

QString& resourceDirectoryOverride()
{
    static QString directory;
    return directory;
}

QString processExecutableDirectory()
{
    // Without an application object Qt cannot tell where the executable lives; the kernel can.
    static const QString directory = [] {
        const QFileInfo exe(QStringLiteral("/proc/self/exe"));
        const QString target = exe.symLinkTarget();
        if (target.isEmpty())
            return QDir::currentPath();
        return QFileInfo(target).absolutePath();
    }();
    return directory;
}

} // namespace

QString Bundle::resourceDirectory()
{
    {
        QMutexLocker lock(&overrideMutex());
        if (!resourceDirectoryOverride().isEmpty())
            return resourceDirectoryOverride();
    }
    const QString fromEnvironment = qEnvironmentVariable("ICONFOUNDRY_RESOURCE_DIR");
    if (!fromEnvironment.isEmpty())
        return fromEnvironment;

    const QDir exeDir(executableDirectory());
    const QString buildTree = exeDir.filePath(QStringLiteral("resources"));
    if (QFileInfo(buildTree).isDir())
        return buildTree;
    const QString installTree =
        QDir::cleanPath(exeDir.filePath(QStringLiteral("../share/iconfoundry/resources")));
    if (QFileInfo(installTree).isDir())
        return installTree;
    return buildTree;
}

QString Bundle::pathForResource(const QString& name, const QString& type)
{
    if (name.isEmpty())
        return {};
    const QString fileName = type.isEmpty() ? name : name + QLatin1Char('.') + type;
    const QFileInfo info(QDir(resourceDirectory()), fileName);
    if (!info.isFile())
        return {};
    return info.absoluteFilePath();
}

QString Bundle::bundleIdentifier()
{
    return QStringLiteral(ICONFOUNDRY_BUNDLE_IDENTIFIER);
}

QString Bundle::shortVersion()
{
    return QStringLiteral(ICONFOUNDRY_VERSION);
}

QString Bundle::buildNumber()
{
    return QStringLiteral(ICONFOUNDRY_BUILD_NUMBER);
}

QString Bundle::executableDirectory()
{
    if (QCoreApplication::instance())
        return QCoreApplication::applicationDirPath();
    return processExecutableDirectory();
}

void Bundle::setResourceDirectory(const QString& directory)
{
    QMutexLocker lock(&overrideMutex());
    resourceDirectoryOverride() = directory;
}

} // namespace iconfoundry
