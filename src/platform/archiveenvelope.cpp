#include "platform/archiveenvelope.h"

#include <QCborMap>
#include <QCborStreamReader>

namespace iconfoundry::ArchiveEnvelope {

namespace {

const QString kFormat = QStringLiteral("co.velmora.IconFoundry.archive");
constexpr qint64 kVersion = 1;

} // namespace

QByteArray encode(const QString& className, const QCborValue& root)
{
    QCborMap envelope;
    envelope.insert(QStringLiteral("format"), kFormat);
    envelope.insert(QStringLiteral("version"), kVersion);
    envelope.insert(QStringLiteral("class"), className);
    envelope.insert(QStringLiteral("root"), root);
    const QCborValue tagged(QCborKnownTags::Signature, envelope);
    return tagged.toCbor(QCborValue::UseFloat);
}

std::optional<QCborValue> decode(const QByteArray& data, const QString& className)
{
    if (data.isEmpty())
        return std::nullopt;
    QCborStreamReader reader(data);
    const QCborValue tagged = QCborValue::fromCbor(reader);
    if (reader.lastError() != QCborError::NoError || reader.currentOffset() != data.size())
        return std::nullopt;
    if (!tagged.isTag() || tagged.tag() != QCborTag(QCborKnownTags::Signature) ||
        !tagged.taggedValue().isMap())
        return std::nullopt;
    const QCborMap envelope = tagged.taggedValue().toMap();
    const QCborValue format = envelope.value(QStringLiteral("format"));
    const QCborValue version = envelope.value(QStringLiteral("version"));
    const QCborValue archivedClass = envelope.value(QStringLiteral("class"));
    if (!format.isString() || format.toString() != kFormat)
        return std::nullopt;
    // A newer version may mean keys of other meaning: refuse it rather than guess.
    if (!version.isInteger() || version.toInteger() < 1 || version.toInteger() > kVersion)
        return std::nullopt;
    if (!archivedClass.isString() || archivedClass.toString() != className)
        return std::nullopt;
    if (!envelope.contains(QStringLiteral("root")))
        return std::nullopt;
    return envelope.value(QStringLiteral("root"));
}

} // namespace iconfoundry::ArchiveEnvelope
