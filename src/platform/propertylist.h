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

    static constexpr int kMaximumDepth = 512;
    static constexpr qsizetype kMaximumSize = 64 * 1024 * 1024;
};

} // namespace iconfoundry
