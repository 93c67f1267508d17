#include "iconset/xcodejson.h"

#include <QJsonArray>
#include <QLocale>
#include <QStringList>
#include <algorithm>
#include <cmath>

namespace iconfoundry {

namespace {

class Writer
{
public:
    explicit Writer(QByteArray& out) : out_(out) {}

    bool value(const QJsonValue& v, int depth)
    {
        switch (v.type()) {
        case QJsonValue::Null:
        case QJsonValue::Undefined:
            out_ += "null";
            return true;
        case QJsonValue::Bool:
            out_ += v.toBool() ? "true" : "false";
            return true;
        case QJsonValue::Double:
            return number(v);
        case QJsonValue::String:
            string(v.toString());
            return true;
        case QJsonValue::Array:
            return array(v.toArray(), depth);
        case QJsonValue::Object:
            return object(v.toObject(), depth);
        }
        return true;
    }

    bool object(const QJsonObject& o, int depth)
    {
        if (depth > XcodeJSON::maxDepth)
            return tooDeep();
        if (o.isEmpty()) {
            out_ += "{\n\n";
            indent(depth);
            out_ += '}';
            return true;
        }
        QStringList keys = o.keys();
        std::sort(keys.begin(), keys.end());
        out_ += "{\n";
        for (qsizetype i = 0; i < keys.size(); ++i) {
            indent(depth + 1);
            string(keys[i]);
            out_ += " : ";
            if (!value(o.value(keys[i]), depth + 1))
                return false;
            out_ += i + 1 < keys.size() ? ",\n" : "\n";
        }
        indent(depth);
        out_ += '}';
        return true;
    }

    QString errorText;
    int errorCode = 0;

private:
    bool array(const QJsonArray& a, int depth)
    {
        if (depth > XcodeJSON::maxDepth)
            return tooDeep();
        if (a.isEmpty()) {
            out_ += "[\n\n";
            indent(depth);
            out_ += ']';
            return true;
        }
        out_ += "[\n";
        for (qsizetype i = 0; i < a.size(); ++i) {
            indent(depth + 1);
            if (!value(a.at(i), depth + 1))
                return false;
            out_ += i + 1 < a.size() ? ",\n" : "\n";
        }
        indent(depth);
        out_ += ']';
        return true;
    }

    bool number(const QJsonValue& v)
    {
        const double d = v.toDouble();
        if (!std::isfinite(d)) {
            errorCode = XcodeJSON::NumberNotFinite;
            errorText = QStringLiteral("JSON cannot hold the number %1.").arg(d);
            return false;
        }
        // Whole numbers that fit 64 bits are written as integers, with all their digits (integers
        // read from a file beyond 2^53 are kept exactly).
        if (v.toInteger(0) == v.toInteger(1)) {
            out_ += QByteArray::number(v.toInteger());
            return true;
        }
        out_ += QByteArray::number(d, 'g', QLocale::FloatingPointShortest);
        return true;
    }

    void string(const QString& s)
    {
        out_ += '"';
        const QByteArray utf8 = s.toUtf8();
        for (char c : utf8) {
            const auto u = static_cast<unsigned char>(c);
            switch (c) {
            case '"':
                out_ += "\\\"";
                break;
            case '\\':
                out_ += "\\\\";
                break;
            case '\b':
                out_ += "\\b";
                break;
            case '\f':
                out_ += "\\f";
                break;
            case '\n':
                out_ += "\\n";
                break;
            case '\r':
                out_ += "\\r";
                break;
            case '\t':
                out_ += "\\t";
                break;
            default:
                if (u < 0x20) {
                    static const char hex[] = "0123456789abcdef";
                    out_ += "\\u00";
                    out_ += hex[u >> 4];
                    out_ += hex[u & 0xf];
                } else {
                    out_ += c;
                }
            }
        }
        out_ += '"';
    }

    void indent(int depth) { out_.append(2 * depth, ' '); }

    bool tooDeep()
    {
        errorCode = XcodeJSON::TooDeep;
        errorText = QStringLiteral("The JSON nests deeper than %1 levels.").arg(XcodeJSON::maxDepth);
        return false;
    }

    QByteArray& out_;
};

} // namespace

bool XcodeJSON::serialize(const QJsonObject& root, QByteArray& out, Error* error)
{
    QByteArray text;
    Writer writer(text);
    if (!writer.object(root, 0)) {
        Error::set(error, errorDomain, writer.errorCode, writer.errorText);
        return false;
    }
    text += '\n';
    out = std::move(text);
    return true;
}

} // namespace iconfoundry
