#include "iconset/jsonnode.h"

#include <algorithm>

namespace iconfoundry {

namespace {

const char hexDigits[] = "0123456789abcdef";

void appendEscapedUnit(QByteArray& out, char16_t unit)
{
    out += "\\u";
    out += hexDigits[(unit >> 12) & 0xf];
    out += hexDigits[(unit >> 8) & 0xf];
    out += hexDigits[(unit >> 4) & 0xf];
    out += hexDigits[unit & 0xf];
}

int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

} // namespace

QByteArray JsonNode::quoted(QStringView text)
{
    QByteArray out;
    out.reserve(text.size() + 2);
    out += '"';
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text[i].unicode();
        switch (c) {
        case u'"':
            out += "\\\"";
            continue;
        case u'\\':
            out += "\\\\";
            continue;
        case u'\b':
            out += "\\b";
            continue;
        case u'\f':
            out += "\\f";
            continue;
        case u'\n':
            out += "\\n";
            continue;
        case u'\r':
            out += "\\r";
            continue;
        case u'\t':
            out += "\\t";
            continue;
        default:
            break;
        }
        if (c < 0x20) {
            appendEscapedUnit(out, c);
        } else if (c < 0x80) {
            out += char(c);
        } else if (c < 0x800) {
            out += char(0xc0 | (c >> 6));
            out += char(0x80 | (c & 0x3f));
        } else if (QChar::isHighSurrogate(c) && i + 1 < text.size() && text[i + 1].isLowSurrogate()) {
            const char32_t u = QChar::surrogateToUcs4(c, text[++i].unicode());
            out += char(0xf0 | (u >> 18));
            out += char(0x80 | ((u >> 12) & 0x3f));
            out += char(0x80 | ((u >> 6) & 0x3f));
            out += char(0x80 | (u & 0x3f));
        } else if (QChar::isSurrogate(c)) {
            // UTF-8 cannot carry half a pair; the escape keeps it exactly.
            appendEscapedUnit(out, c);
        } else {
            out += char(0xe0 | (c >> 12));
            out += char(0x80 | ((c >> 6) & 0x3f));
            out += char(0x80 | (c & 0x3f));
        }
    }
    out += '"';
    return out;
}

QString JsonNode::unquoted(QByteArrayView spelling)
{
    if (spelling.size() >= 2 && spelling.front() == '"' && spelling.back() == '"')
        spelling = spelling.sliced(1, spelling.size() - 2);
    qsizetype backslash = spelling.indexOf('\\');
    if (backslash < 0)
        return QString::fromUtf8(spelling);
    QString out;
    out.reserve(spelling.size());
    qsizetype from = 0;
    while (backslash >= 0 && backslash + 1 < spelling.size()) {
        out += QString::fromUtf8(spelling.sliced(from, backslash - from));
        const char kind = spelling[backslash + 1];
        from = backslash + 2;
        switch (kind) {
        case 'b':
            out += u'\b';
            break;
        case 'f':
            out += u'\f';
            break;
        case 'n':
            out += u'\n';
            break;
        case 'r':
            out += u'\r';
            break;
        case 't':
            out += u'\t';
            break;
        case 'u': {
            char16_t unit = 0;
            int digits = 0;
            for (; digits < 4 && from < spelling.size() && hexValue(spelling[from]) >= 0; ++digits)
                unit = char16_t(unit << 4 | hexValue(spelling[from++]));
            if (digits == 4)
                out += QChar(unit); // half of a pair stays as it is: the two halves meet here
            break;
        }
        default: // \" \\ \/
            out += QLatin1Char(kind);
        }
        backslash = spelling.indexOf('\\', from);
    }
    out += QString::fromUtf8(spelling.sliced(from));
    return out;
}

QByteArray JsonNode::plainText() const
{
    // Without a backslash nothing is escaped, and the text holds no character quoted() escapes.
    if (!isString() || !text_.contains('\\'))
        return text_;
    return quoted(unquoted(text_));
}

std::vector<JsonNode::Member>::const_iterator JsonNode::lowerBound(QStringView key) const
{
    return std::lower_bound(members_.cbegin(), members_.cend(), key,
                            [](const Member& member, QStringView k) { return QStringView(member.key) < k; });
}

const JsonNode* JsonNode::member(QStringView key) const
{
    // Entries have a handful of members: equality, which compares lengths first, beats ordering.
    if (members_.size() <= 8) {
        for (const Member& member : members_) {
            if (member.key == key)
                return &member.value;
        }
        return nullptr;
    }
    const auto it = lowerBound(key);
    return it != members_.cend() && it->key == key ? &it->value : nullptr;
}

JsonNode* JsonNode::member(QStringView key)
{
    return const_cast<JsonNode*>(std::as_const(*this).member(key));
}

void JsonNode::insert(const QString& key, JsonNode value)
{
    const auto at = members_.begin() + (lowerBound(key) - members_.cbegin());
    if (at != members_.end() && at->key == key)
        at->value = std::move(value);
    else
        members_.insert(at, Member{key, quoted(key), std::move(value)});
}

void JsonNode::remove(QStringView key)
{
    const auto at = lowerBound(key);
    if (at != members_.cend() && at->key == key)
        members_.erase(at);
}

void JsonNode::appendSorted(Member member)
{
    Q_ASSERT(members_.empty() || members_.back().key < member.key);
    members_.push_back(std::move(member));
}

} // namespace iconfoundry
