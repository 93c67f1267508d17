#pragma once

#include <QByteArray>
#include <QCborMap>
#include <QCborValue>
#include <QString>
#include <QVariant>
#include <optional>

namespace iconfoundry {

// Internals shared by ImageCategory and ImageSize: how catalogue values are read from property
// lists, and the envelope of their archives. Stateless and thread-safe.
namespace CatalogueCoding {

// A number as the catalogue reads it: narrowed to a 32-bit float and widened again, so 83.5 and
// 0.75 stay exact while 0.1 carries float rounding. Integers, reals and booleans count by value;
// a string counts by its leading number ("60x45" gives 60, "abc" gives 0). Anything else, and
// any value that is not finite as a float, gives 0.
double floatValue(const QVariant& value);

// An integer as the catalogue reads it: integers as they are, reals truncated toward zero
// (saturated at the qint64 range), booleans 0 or 1, strings by their leading integer; anything
// else 0.
qint64 integerValue(const QVariant& value);

// The text of a string value; absent for a missing key or a value of another kind.
std::optional<QString> stringValue(const QVariant& value);

// "dictionary", "integer", ... for log messages about property-list values.
QString kindName(const QVariant& value);

// The program's archive envelope (platform/archiveenvelope.h) around a catalogue record.
QByteArray encodeArchive(const QString& className, const QCborValue& root);
// The root of an archive of className, or absent for anything else: other classes, other
// formats, newer versions, trailing bytes, damaged CBOR.
std::optional<QCborValue> decodeArchive(const QByteArray& data, const QString& className);

// Readers of one key of an archived record. Absent keys give std::nullopt in *out (or 0);
// a key present with the wrong kind makes the reader return false.
bool readString(const QCborMap& map, const char* key, std::optional<QString>* out);
bool readInteger(const QCborMap& map, const char* key, qint64* out);
bool readFloat(const QCborMap& map, const char* key, double* out);

} // namespace CatalogueCoding

} // namespace iconfoundry
