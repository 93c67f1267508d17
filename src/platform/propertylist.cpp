#include "platform/propertylist.h"

#include "platform/bundle.h"

#include <QDateTime>
#include <QFile>
#include <QRegularExpression>
#include <QTimeZone>
#include <QVariantList>
#include <QVariantMap>
#include <QXmlStreamReader>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <plist/plist.h>
#include <vector>

namespace iconfoundry {

namespace {

constexpr char kBinaryMagic[] = "bplist00";
constexpr qsizetype kBinaryMagicSize = 8;
constexpr qsizetype kBinaryTrailerSize = 32;
// The parser expands an object referenced from several places once per reference; a small
// file of shared references could otherwise grow into billions of nodes.
constexpr quint64 kMaximumExpandedObjects = 1u << 20;
// Seconds from the Unix epoch to 2001-01-01, the epoch of property-list dates.
constexpr qint64 kReferenceDateOffset = 978307200;

// The parser keeps dates as 32-bit seconds from 2001-01-01 (1901-12-13 to 2069-01-19 in
// practice); others would wrap around silently.
bool dateInParserRange(double secondsFromReferenceDate)
{
    return secondsFromReferenceDate > -2147483648.0 && secondsFromReferenceDate < 2147483647.0;
}

bool fail(QString* errorDescription, const QString& text)
{
    if (errorDescription)
        *errorDescription = text;
    return false;
}

// --- binary structure check ---------------------------------------------------------------

class BinaryChecker
{
public:
    BinaryChecker(const QByteArray& data, QString* error) : data_(data), error_(error) {}

    bool check()
    {
        const qsizetype size = data_.size();
        if (size < kBinaryMagicSize + 1 + 1 + kBinaryTrailerSize)
            return fail(error_, QStringLiteral("The binary property list is truncated."));
        const auto* trailer = bytes() + size - kBinaryTrailerSize;
        offsetSize_ = trailer[6];
        refSize_ = trailer[7];
        objectCount_ = bigEndian(trailer + 8, 8);
        const quint64 topObject = bigEndian(trailer + 16, 8);
        offsetTableOffset_ = bigEndian(trailer + 24, 8);
        const quint64 tableEnd = quint64(size - kBinaryTrailerSize);

        if (offsetSize_ < 1 || offsetSize_ > 8 || refSize_ < 1 || refSize_ > 8)
            return fail(error_, QStringLiteral("The binary property list has a damaged trailer."));
        if (objectCount_ == 0 || topObject >= objectCount_)
            return fail(error_, QStringLiteral("The binary property list has no valid top object."));
        if (offsetTableOffset_ < quint64(kBinaryMagicSize) || offsetTableOffset_ > tableEnd ||
            objectCount_ > (tableEnd - offsetTableOffset_) / offsetSize_)
            return fail(error_,
                        QStringLiteral("The binary property list's offset table lies outside the file."));

        offsets_.resize(objectCount_);
        for (quint64 i = 0; i < objectCount_; ++i) {
            const quint64 offset = bigEndian(bytes() + offsetTableOffset_ + i * offsetSize_, offsetSize_);
            if (offset < quint64(kBinaryMagicSize) || offset >= offsetTableOffset_)
                return fail(error_,
                            QStringLiteral("The binary property list has an object outside the file."));
            offsets_[i] = offset;
        }
        return walk(topObject);
    }

private:
    struct Object
    {
        quint8 kind = 0; // high nibble of the marker
        std::vector<quint64> children;
        std::vector<quint64> keys;
    };

    const quint8* bytes() const { return reinterpret_cast<const quint8*>(data_.constData()); }

    static quint64 bigEndian(const quint8* p, unsigned count)
    {
        quint64 value = 0;
        for (unsigned i = 0; i < count; ++i)
            value = (value << 8) | p[i];
        return value;
    }

    // Reads the object at index into object; checks that its bytes lie before the offset table.
    bool readObject(quint64 index, Object& object)
    {
        quint64 pos = offsets_[index];
        const quint64 end = offsetTableOffset_;
        const quint8 marker = bytes()[pos++];
        object.kind = marker >> 4;
        const quint8 low = marker & 0x0f;

        auto need = [&](quint64 count) { return count <= end - pos; };
        auto readLength = [&](quint64& length) {
            if (low != 0x0f) {
                length = low;
                return true;
            }
            if (!need(1))
                return false;
            const quint8 intMarker = bytes()[pos++];
            if ((intMarker >> 4) != 0x1 || (intMarker & 0x0f) > 3)
                return false;
            const unsigned width = 1u << (intMarker & 0x0f);
            if (!need(width))
                return false;
            length = bigEndian(bytes() + pos, width);
            pos += width;
            return true;
        };
        auto readRefs = [&](quint64 count, std::vector<quint64>& refs) {
            if (count > (end - pos) / refSize_)
                return false;
            refs.reserve(count);
            for (quint64 i = 0; i < count; ++i) {
                const quint64 ref = bigEndian(bytes() + pos, refSize_);
                pos += refSize_;
                if (ref >= objectCount_)
                    return false;
                refs.push_back(ref);
            }
            return true;
        };

        quint64 length = 0;
        switch (object.kind) {
        case 0x0:
            return low == 0x08 || low == 0x09; // false, true (null and fill are no values)
        case 0x1:
            if (low > 4 || !need(quint64(1) << low))
                return false;
            // 16-byte integers carry unsigned values; only those that fit in qint64 are read.
            return low < 4 || (bigEndian(bytes() + pos, 8) == 0 && bytes()[pos + 8] < 0x80);
        case 0x2:
            return (low == 2 || low == 3) && need(quint64(1) << low);
        case 0x3: {
            if (low != 3 || !need(8))
                return false;
            const quint64 bits = bigEndian(bytes() + pos, 8);
            double seconds = 0;
            std::memcpy(&seconds, &bits, sizeof seconds);
            return dateInParserRange(seconds);
        }
        case 0x4:
            return readLength(length) && need(length);
        case 0x5:
            // The parser turns strings into C strings and asserts that no NUL hides inside.
            return readLength(length) && need(length) &&
                   std::memchr(bytes() + pos, 0, size_t(length)) == nullptr;
        case 0x6:
            if (!readLength(length) || length > (end - pos) / 2)
                return false;
            for (quint64 i = 0; i < length; ++i) {
                if (bytes()[pos + 2 * i] == 0 && bytes()[pos + 2 * i + 1] == 0)
                    return false;
            }
            return true;
        case 0x8:
            return need(quint64(low) + 1);
        case 0xA:
            return readLength(length) && readRefs(length, object.children);
        case 0xD:
            if (!readLength(length) || length > (end - pos) / 2)
                return false;
            return readRefs(length, object.keys) && readRefs(length, object.children);
        default:
            return false;
        }
    }

    // Depth-first over the object graph without recursion: rejects cycles, nesting deeper than
    // the limit, dictionaries with keys that are not strings, and graphs that would expand past
    // the limit when shared objects are copied.
    bool walk(quint64 top)
    {
        enum Colour : quint8
        {
            White,
            Grey,
            Black
        };
        std::vector<Colour> colour(objectCount_, White);
        std::vector<quint32> height(objectCount_, 0);
        std::vector<quint64> expanded(objectCount_, 0);
        struct Frame
        {
            quint64 index;
            Object object;
            size_t next = 0;
        };
        std::vector<Frame> stack;

        auto enter = [&](quint64 index) {
            Frame frame{index, {}, 0};
            if (!readObject(index, frame.object))
                return fail(error_, QStringLiteral("The binary property list has a damaged object."));
            for (quint64 key : frame.object.keys) {
                Object keyObject;
                if (!readObject(key, keyObject) || (keyObject.kind != 0x5 && keyObject.kind != 0x6))
                    return fail(
                        error_,
                        QStringLiteral(
                            "The binary property list has a dictionary key that is not a valid string."));
            }
            colour[index] = Grey;
            stack.push_back(std::move(frame));
            if (stack.size() > size_t(PropertyList::kMaximumDepth))
                return fail(error_, QStringLiteral("The property list is nested too deeply."));
            return true;
        };

        if (!enter(top))
            return false;
        while (!stack.empty()) {
            Frame& frame = stack.back();
            if (frame.next < frame.object.children.size()) {
                const quint64 child = frame.object.children[frame.next++];
                if (colour[child] == Grey)
                    return fail(error_, QStringLiteral("The binary property list refers to itself."));
                if (colour[child] == White && !enter(child))
                    return false;
                continue;
            }
            quint32 h = 0;
            quint64 count = 1 + frame.object.keys.size();
            for (quint64 child : frame.object.children) {
                h = std::max(h, height[child] + 1);
                count += expanded[child];
                if (count > kMaximumExpandedObjects)
                    return fail(error_,
                                QStringLiteral("The binary property list expands to too many objects."));
            }
            if (h > quint32(PropertyList::kMaximumDepth))
                return fail(error_, QStringLiteral("The property list is nested too deeply."));
            height[frame.index] = h;
            expanded[frame.index] = count;
            colour[frame.index] = Black;
            stack.pop_back();
        }
        return true;
    }

    const QByteArray& data_;
    QString* error_;
    unsigned offsetSize_ = 0;
    unsigned refSize_ = 0;
    quint64 objectCount_ = 0;
    quint64 offsetTableOffset_ = 0;
    std::vector<quint64> offsets_;
};

// --- XML structure check ------------------------------------------------------------------

// The parser reads numbers, dates and data leniently (garbage becomes 0, 1970 or nothing);
// a value that does not say what it claims is rejected here instead.
bool checkXmlLeaf(const QString& element, const QString& text, QString* error, qint64 line)
{
    static const QRegularExpression kInteger(QStringLiteral("^[+-]?(0[xX][0-9a-fA-F]{1,16}|[0-9]{1,20})$"));
    static const QRegularExpression kReal(
        QStringLiteral("^([+-]?([0-9]+\\.?[0-9]*|\\.[0-9]+)([eE][+-]?[0-9]+)?|[+-]?(inf|infinity)|nan)$"),
        QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression kDate(
        QStringLiteral("^[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z$"));
    static const QRegularExpression kBase64(QStringLiteral("^[A-Za-z0-9+/]*={0,2}$"));

    auto bad = [&](const char* what) {
        return fail(error, QStringLiteral("The property list has %1 that is not valid: \"%2\" (line %3).")
                               .arg(QLatin1String(what))
                               .arg(text.left(40))
                               .arg(line));
    };
    const QString trimmed = text.trimmed();
    if (element == QLatin1String("integer")) {
        if (!kInteger.match(trimmed).hasMatch())
            return bad("an integer");
        // Integers come back as qint64, so larger unsigned values are refused rather than wrapped.
        bool ok = false;
        const QString digits = trimmed.startsWith(QLatin1Char('+')) ? trimmed.mid(1) : trimmed;
        digits.toLongLong(&ok, 0);
        if (!ok)
            return bad("an integer");
    } else if (element == QLatin1String("real")) {
        if (!kReal.match(trimmed).hasMatch())
            return bad("a real number");
    } else if (element == QLatin1String("date")) {
        if (!kDate.match(trimmed).hasMatch())
            return bad("a date");
        const QDateTime date = QDateTime::fromString(trimmed, Qt::ISODate);
        if (!date.isValid() || !dateInParserRange(date.toSecsSinceEpoch() - kReferenceDateOffset))
            return bad("a date");
    } else if (element == QLatin1String("data")) {
        QString compact = trimmed;
        compact.remove(QRegularExpression(QStringLiteral("\\s")));
        if (compact.size() % 4 != 0 || !kBase64.match(compact).hasMatch())
            return bad("base64 data");
    } else if (element == QLatin1String("true") || element == QLatin1String("false")) {
        if (!trimmed.isEmpty())
            return bad("a boolean");
    }
    return true;
}

bool checkXml(const QByteArray& data, QString* error)
{
    static const QStringList kValueElements = {
        QStringLiteral("array"),   QStringLiteral("dict"), QStringLiteral("string"),
        QStringLiteral("integer"), QStringLiteral("real"), QStringLiteral("true"),
        QStringLiteral("false"),   QStringLiteral("date"), QStringLiteral("data")};
    static const QStringList kContainers = {QStringLiteral("plist"), QStringLiteral("array"),
                                            QStringLiteral("dict")};

    QXmlStreamReader xml(data);
    // For every open container: its name and how many children it has so far.
    struct Open
    {
        QString name;
        int children = 0;
    };
    std::vector<Open> open;
    int roots = 0;
    QString leafText;
    while (!xml.atEnd()) {
        const auto token = xml.readNext();
        if (token == QXmlStreamReader::Characters && !open.empty())
            leafText += xml.text();
        if (token == QXmlStreamReader::DTD && !xml.entityDeclarations().isEmpty())
            return fail(
                error,
                QStringLiteral("The property list declares entities of its own, which the reader refuses."));
        if (token == QXmlStreamReader::EntityReference)
            return fail(error, QStringLiteral("The property list uses an undeclared entity."));
        if (token == QXmlStreamReader::Characters && !xml.isWhitespace() &&
            (open.empty() || kContainers.contains(open.back().name)))
            return fail(error, QStringLiteral("The property list has text outside of a value (line %1).")
                                   .arg(xml.lineNumber()));
        if (token == QXmlStreamReader::StartElement) {
            const QString name = xml.name().toString();
            if (open.empty()) {
                if (++roots > 1)
                    return fail(error, QStringLiteral("The property list has more than one root."));
                if (name != QLatin1String("plist") && !kValueElements.contains(name))
                    return fail(
                        error,
                        QStringLiteral("The document is not a property list (root element <%1>).").arg(name));
            } else {
                Open& parent = open.back();
                if (!kContainers.contains(parent.name))
                    return fail(error,
                                QStringLiteral("The property list has an element inside <%1> (line %2).")
                                    .arg(parent.name)
                                    .arg(xml.lineNumber()));
                const bool isKey = name == QLatin1String("key");
                if (parent.name == QLatin1String("dict")) {
                    const bool keyExpected = parent.children % 2 == 0;
                    if (keyExpected != isKey)
                        return fail(error, QStringLiteral(
                                               "A dictionary's keys and values do not alternate (line %1).")
                                               .arg(xml.lineNumber()));
                } else if (isKey || !kValueElements.contains(name)) {
                    return fail(error,
                                QStringLiteral("The property list has an unknown element <%1> (line %2).")
                                    .arg(name)
                                    .arg(xml.lineNumber()));
                }
                if (parent.name == QLatin1String("plist") && parent.children > 0)
                    return fail(error, QStringLiteral("The property list has more than one root value."));
                ++parent.children;
                if (!isKey && !kValueElements.contains(name))
                    return fail(error,
                                QStringLiteral("The property list has an unknown element <%1>.").arg(name));
            }
            open.push_back({name, 0});
            leafText.clear();
            if (open.size() > size_t(PropertyList::kMaximumDepth) + 1)
                return fail(error, QStringLiteral("The property list is nested too deeply."));
        } else if (token == QXmlStreamReader::EndElement) {
            const Open& closing = open.back();
            if (!kContainers.contains(closing.name) &&
                !checkXmlLeaf(closing.name, leafText, error, xml.lineNumber()))
                return false;
            if (closing.name == QLatin1String("dict") && closing.children % 2 != 0)
                return fail(error,
                            QStringLiteral("A dictionary key has no value (line %1).").arg(xml.lineNumber()));
            if (closing.name == QLatin1String("plist") && closing.children != 1)
                return fail(error, QStringLiteral("The property list has no value."));
            open.pop_back();
        }
    }
    if (xml.hasError())
        return fail(error, QStringLiteral("The property list is not well-formed XML: %1 (line %2).")
                               .arg(xml.errorString())
                               .arg(xml.lineNumber()));
    if (roots == 0)
        return fail(error, QStringLiteral("The document holds no property list."));
    return true;
}

// --- conversion -----------------------------------------------------------------------------

struct PlistDeleter
{
    void operator()(void* node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

QString takeString(char* text)
{
    const QString result = text ? QString::fromUtf8(text) : QString();
    std::free(text);
    return result;
}

std::optional<QVariant> convert(plist_t node, int depth, QString* error)
{
    if (depth > PropertyList::kMaximumDepth) {
        fail(error, QStringLiteral("The property list is nested too deeply."));
        return std::nullopt;
    }
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        uint8_t value = 0;
        plist_get_bool_val(node, &value);
        return QVariant(value != 0);
    }
    case PLIST_UINT: {
        // The library keeps every integer in an unsigned 64-bit field; negative values are
        // stored in two's complement, so the cast gives them back.
        uint64_t value = 0;
        plist_get_uint_val(node, &value);
        return QVariant(qint64(value));
    }
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        return QVariant(value);
    }
    case PLIST_STRING: {
        char* text = nullptr;
        plist_get_string_val(node, &text);
        return QVariant(takeString(text));
    }
    case PLIST_DATA: {
        char* bytes = nullptr;
        uint64_t length = 0;
        plist_get_data_val(node, &bytes, &length);
        const QByteArray result(bytes, bytes ? qsizetype(length) : 0);
        std::free(bytes);
        return QVariant(result);
    }
    case PLIST_DATE: {
        int32_t seconds = 0;
        int32_t microseconds = 0;
        plist_get_date_val(node, &seconds, &microseconds);
        const qint64 msecs = (kReferenceDateOffset + qint64(seconds)) * 1000 + microseconds / 1000;
        return QVariant(QDateTime::fromMSecsSinceEpoch(msecs, QTimeZone::utc()));
    }
    case PLIST_UID: {
        uint64_t value = 0;
        plist_get_uid_val(node, &value);
        return QVariant(QVariantMap{{QStringLiteral("CF$UID"), QVariant(qint64(value))}});
    }
    case PLIST_ARRAY: {
        QVariantList list;
        const uint32_t count = plist_array_get_size(node);
        list.reserve(count);
        for (uint32_t i = 0; i < count; ++i) {
            plist_t item = plist_array_get_item(node, i);
            if (!item) {
                fail(error, QStringLiteral("The property list has a damaged array."));
                return std::nullopt;
            }
            auto value = convert(item, depth + 1, error);
            if (!value)
                return std::nullopt;
            list.append(std::move(*value));
        }
        return QVariant(list);
    }
    case PLIST_DICT: {
        QVariantMap map;
        plist_dict_iter iter = nullptr;
        plist_dict_new_iter(node, &iter);
        if (!iter) {
            fail(error, QStringLiteral("The property list has a damaged dictionary."));
            return std::nullopt;
        }
        std::optional<QVariant> result;
        for (;;) {
            char* key = nullptr;
            plist_t value = nullptr;
            plist_dict_next_item(node, iter, &key, &value);
            if (!value) {
                std::free(key);
                result = QVariant(map);
                break;
            }
            const QString name = takeString(key);
            auto converted = convert(value, depth + 1, error);
            if (!converted)
                break;
            map.insert(name, std::move(*converted));
        }
        std::free(iter);
        return result;
    }
    default:
        fail(error, QStringLiteral("The property list holds a value of an unknown kind."));
        return std::nullopt;
    }
}

} // namespace

std::optional<QVariant> PropertyList::read(const QByteArray& data, QString* errorDescription)
{
    if (data.isEmpty()) {
        fail(errorDescription, QStringLiteral("The property list is empty."));
        return std::nullopt;
    }
    if (data.size() > kMaximumSize) {
        fail(errorDescription, QStringLiteral("The property list is larger than 64 MiB."));
        return std::nullopt;
    }

    const bool binary = data.startsWith(QByteArray::fromRawData(kBinaryMagic, kBinaryMagicSize));
    plist_t root = nullptr;
    if (binary) {
        if (!BinaryChecker(data, errorDescription).check())
            return std::nullopt;
        plist_from_bin(data.constData(), uint32_t(data.size()), &root);
    } else {
        if (!checkXml(data, errorDescription))
            return std::nullopt;
        plist_from_xml(data.constData(), uint32_t(data.size()), &root);
    }
    const PlistPtr owner(root);
    if (!root) {
        fail(errorDescription, binary ? QStringLiteral("The binary property list could not be parsed.")
                                      : QStringLiteral("The XML property list could not be parsed."));
        return std::nullopt;
    }
    return convert(root, 0, errorDescription);
}

std::optional<QVariant> PropertyList::readResource(const QString& name, QString* failure)
{
    const QString path = Bundle::pathForResource(name, QStringLiteral("plist"));
    if (path.isEmpty()) {
        fail(failure, QStringLiteral("ERROR: File not found in bundle: %1.plist").arg(name));
        return std::nullopt;
    }
    QFile file(path);
    QByteArray data;
    if (file.open(QIODevice::ReadOnly) && file.size() <= kMaximumSize)
        data = file.readAll();
    if (!file.isOpen() || file.size() > kMaximumSize || file.error() != QFileDevice::NoError) {
        fail(failure, QStringLiteral("ERROR: Could not load data from path: %1").arg(path));
        return std::nullopt;
    }
    QString parseError;
    auto root = read(data, &parseError);
    if (!root)
        fail(failure,
             QStringLiteral("Error reading data from file '%1', error = '%2'").arg(path, parseError));
    return root;
}

} // namespace iconfoundry
