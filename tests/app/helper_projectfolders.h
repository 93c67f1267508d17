#pragma once

#include <QByteArray>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QString>

// Copies of fixture folders, what a folder holds and what its PNG files are, for the tests that run generate
// on projects.

// Every file and folder under root with its bytes: equal snapshots mean nothing was written,
// replaced or left behind.
inline QMap<QString, QByteArray> snapshot(const QString& root)
{
    QMap<QString, QByteArray> entries;
    QDirIterator it(root, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        QFile file(it.next());
        // Only regular files are opened: opening a named pipe would wait for a writer.
        entries.insert(QDir(root).relativeFilePath(file.fileName()),
                       QFileInfo(file).isFile() && file.open(QIODevice::ReadOnly)
                           ? file.readAll()
                           : QByteArray("not a readable file"));
    }
    return entries;
}

// The files of from, with its subfolders, copied into to (made when missing).
inline bool copyTree(const QString& from, const QString& to)
{
    bool copied = QDir().mkpath(to);
    QDirIterator it(from, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString source = it.next();
        const QString target = QDir(to).filePath(QDir(from).relativeFilePath(source));
        copied = copied && QDir().mkpath(QFileInfo(target).path()) && QFile::copy(source, target);
    }
    return copied;
}

// The colour type in a PNG's header: 2 for RGB, 6 for RGBA; -1 for no PNG.
inline int pngColourType(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray head = file.read(26);
    return head.size() == 26 && head.startsWith("\x89PNG") ? int(quint8(head[25])) : -1;
}
