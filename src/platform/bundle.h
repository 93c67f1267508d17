#pragma once

#include <QString>

namespace iconfoundry {

// The application's resource bundle: the folder of resource files that ships beside the
// executable, and the identity of the build.
//
// The resource folder is, in this order: the override set with setResourceDirectory(), the
// environment variable ICONFOUNDRY_RESOURCE_DIR, "<executable's folder>/resources" (build tree),
// "<executable's folder>/../share/iconfoundry/resources" (install tree). The last one is chosen
// only when it exists and the build-tree one does not.
//
// All members are thread-safe. The folder is looked up afresh on every call, so an override or
// environment change takes effect at once; nothing is cached but the executable's folder.
class Bundle
{
public:
    static QString resourceDirectory();
    // Absolute path of the file NAME.TYPE (NAME alone when type is empty) in the resource
    // folder; empty when there is no such regular file.
    static QString pathForResource(const QString& name, const QString& type);

    // "co.velmora.IconFoundry".
    static QString bundleIdentifier();
    // The project version, e.g. "0.1.0".
    static QString shortVersion();
    static QString buildNumber();

    // Folder of the running executable: QCoreApplication::applicationDirPath() once an
    // application object exists, else the folder of /proc/self/exe.
    static QString executableDirectory();

    // For tests: points the bundle at another resource folder. An empty string restores the
    // normal look-up.
    static void setResourceDirectory(const QString& directory);
};

} // namespace iconfoundry
