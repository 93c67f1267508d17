#include "iconset/xcodejson.h"

#include <QJsonArray>
#include <QLocale>
#include <cmath>

namespace iconfoundry {

namespace {

class Writer
{
public:
    explicit Writer(QByteArray& out) : out_(out) {}

    bool value(const JsonNode& v, int depth)
    {
        switch (v.type()) {
        case JsonNode::Type::Array:
            return array(v.elements(), depth);
        case JsonNode::Type::Object:
            return object(v, depth);
        default:
            // A default-constructed node has no text of its own.
            out_ += v.text().isEmpty() ? QByteArrayView("null") : QByteArrayView(v.text());
            return true;
        }
    }

private:
    bool object(const JsonNode& o, int depth)
    {
        if (depth > XcodeJSON::maxDepth)
            return false;
        const auto& members = o.members();
        if (members.empty()) {
            out_ += "{\n\n";
            indent(depth);
            out_ += '}';
            return true;
        }
        out_ += "{\n";
        for (size_t i = 0; i < members.size(); ++i) {
            indent(depth + 1);
            out_ += members[i].keyText;
            out_ += " : ";
            if (!value(members[i].value, depth + 1))
                return false;
            out_ += i + 1 < members.size() ? ",\n" : "\n";
        }
        indent(depth);
        out_ += '}';
        return true;
    }

    bool array(const std::vector<JsonNode>& a, int depth)
    {
        if (depth > XcodeJSON::maxDepth)
            return false;
        if (a.empty()) {
            out_ += "[\n\n";
            indent(depth);
            out_ += ']';
            return true;
        }
        out_ += "[\n";
        for (size_t i = 0; i < a.size(); ++i) {
            indent(depth + 1);
            if (!value(a[i], depth + 1))
                return false;
            out_ += i + 1 < a.size() ? ",\n" : "\n";
        }
        indent(depth);
        out_ += ']';
        return true;
    }

    void indent(int depth) { out_.append(2 * depth, ' '); }

    QByteArray& out_;
};

bool tooDeep(Error* error)
{
    Error::set(error, XcodeJSON::errorDomain, XcodeJSON::TooDeep, XcodeJSON::tooDeepDescription());
    return false;
}

QByteArray numberText(const QJsonValue& v)
{
    // Whole numbers that fit 64 bits are written as integers, with all their digits.
    if (v.toInteger(0) == v.toInteger(1))
        return QByteArray::number(v.toInteger());
    return QByteArray::number(v.toDouble(), 'g', QLocale::FloatingPointShortest);
}

bool makeNode(const QJsonValue& v, JsonNode& out, int depth, Error* error)
{
    if ((v.isArray() || v.isObject()) && depth > XcodeJSON::maxDepth)
        return tooDeep(error);
    switch (v.type()) {
    case QJsonValue::Null:
    case QJsonValue::Undefined:
        out = JsonNode(JsonNode::Type::Null, QByteArrayLiteral("null"));
        return true;
    case QJsonValue::Bool:
        out = JsonNode(JsonNode::Type::Bool,
                       v.toBool() ? QByteArrayLiteral("true") : QByteArrayLiteral("false"));
        return true;
    case QJsonValue::Double:
        if (!std::isfinite(v.toDouble())) {
            Error::set(error, XcodeJSON::errorDomain, XcodeJSON::NumberNotFinite,
                       QStringLiteral("JSON cannot hold the number %1.").arg(v.toDouble()));
            return false;
        }
        out = JsonNode(JsonNode::Type::Number, numberText(v));
        return true;
    case QJsonValue::String:
        out = JsonNode::fromString(v.toString());
        return true;
    case QJsonValue::Array: {
        JsonNode array(JsonNode::Type::Array);
        const QJsonArray elements = v.toArray();
        array.elements().resize(size_t(elements.size()));
        for (qsizetype i = 0; i < elements.size(); ++i) {
            if (!makeNode(elements.at(i), array.elements()[size_t(i)], depth + 1, error))
                return false;
        }
        out = std::move(array);
        return true;
    }
    case QJsonValue::Object: {
        JsonNode object(JsonNode::Type::Object);
        const QJsonObject members = v.toObject();
        for (auto it = members.begin(); it != members.end(); ++it) {
            JsonNode member;
            if (!makeNode(it.value(), member, depth + 1, error))
                return false;
            object.insert(it.key(), std::move(member));
        }
        out = std::move(object);
        return true;
    }
    }
    return true;
}

} // namespace

QString XcodeJSON::tooDeepDescription()
{
    return QStringLiteral("The JSON nests deeper than %1 levels.").arg(maxDepth);
}

bool XcodeJSON::toNode(const QJsonValue& value, JsonNode& out, Error* error)
{
    return makeNode(value, out, 0, error);
}

bool XcodeJSON::serialize(const QJsonObject& root, QByteArray& out, Error* error)
{
    JsonNode node;
    return toNode(root, node, error) && serialize(node, out, error);
}

bool XcodeJSON::serialize(const JsonNode& root, QByteArray& out, Error* error)
{
    QByteArray text;
    Writer writer(text);
    if (!writer.value(root, 0))
        return tooDeep(error);
    text += '\n';
    out = std::move(text);
    return true;
}

} // namespace iconfoundry
