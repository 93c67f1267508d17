#pragma once

#include <QDir>
#include <QProcess>
#include <QStringList>

// Runs the built executable the way a user does and collects what it printed.
struct Run
{
    int exitCode = -1; // -1: crashed or did not finish in time
    QString out;
    QString err;
};

inline QString iconFoundryBinary()
{
    return QDir(qEnvironmentVariable("ICONFOUNDRY_BINARY_DIR")).filePath(QStringLiteral("iconfoundry"));
}

// Environment entries "NAME=value" are added, bare "NAME" entries removed; the caller's own resource folder
// and console logging overrides are never passed on.
inline Run runIconFoundry(const QStringList& arguments, const QStringList& environment = {})
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove(QStringLiteral("ICONFOUNDRY_RESOURCE_DIR"));
    env.remove(QStringLiteral("ICONFOUNDRY_LOG_CONSOLE"));
    for (const QString& entry : environment)
        if (!entry.contains(QLatin1Char('=')))
            env.remove(entry); // a bare NAME is taken out
        else
            env.insert(entry.section(QLatin1Char('='), 0, 0), entry.section(QLatin1Char('='), 1));
    QProcess process;
    process.setProcessEnvironment(env);
    process.start(iconFoundryBinary(), arguments);
    const bool exited = process.waitForFinished(120000) && process.exitStatus() == QProcess::NormalExit;
    return {exited ? process.exitCode() : -1, QString::fromUtf8(process.readAllStandardOutput()),
            QString::fromUtf8(process.readAllStandardError())};
}
