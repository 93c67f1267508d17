#pragma once

#include <QByteArray>
#include <QCborValue>
#include <QString>
#include <optional>

namespace iconfoundry {

// The envelope of every archive the program stores (the ticked categories, announcements): CBOR,
// the self-describe tag, then a map {"format": "co.velmora.IconFoundry.archive", "version": 1,
// "class": className, "root": root}. Reals are written as 32-bit floats where that is exact.
// Stateless and thread-safe.
namespace ArchiveEnvelope {

QByteArray encode(const QString& className, const QCborValue& root);
// The root of an archive of className, or absent for anything else: other classes, other
// formats, newer versions, trailing bytes, damaged CBOR.
std::optional<QCborValue> decode(const QByteArray& data, const QString& className);

} // namespace ArchiveEnvelope

} // namespace iconfoundry
