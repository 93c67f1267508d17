#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>
#include <optional>

namespace iconfoundry {

// Reads XML and binary property lists into Qt values:
//   array -> QVariantList, dictionary -> QVariantMap, integer -> qint64, real -> double,
//   string -> QString, boolean -> bool, data -> QByteArray, date -> QDateTime (UTC),
//   keyed-archive UID -> QVariantMap {"CF$UID": qint64}.
//
// Anything that is not a well-formed property list (garbage, truncated, empty, nested deeper
// than 512 levels, larger than 64 MiB) yields std::nullopt and a description; the input is
// checked before the parser sees it, so hostile data never reaches a code path that could
// crash. Thread-safe: no shared state.
class PropertyList
{
public:
    static std::optional<QVariant> read(const QByteArray& data, QString* errorDescription = nullptr);

    // The root of the bundle's resource NAME.plist. When there is none, failure receives the line
    // that callers log for it, one of:
    //   "ERROR: File not found in bundle: NAME.plist"
    //   "ERROR: Could not load data from path: PATH"
    //   "Error reading data from file 'PATH', error = 'DESCRIPTION'"
    // Every resource reader logs the same lines, so a broken bundle reads the same in every log.
    static std::optional<QVariant> readResource(const QString& name, QString* failure = nullptr);

    static constexpr int kMaximumDepth = 512;
    static constexpr qsizetype kMaximumSize = 64 * 1024 * 1024;
};

} // namespace iconfoundry
