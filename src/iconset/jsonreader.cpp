#include "iconset/jsonreader.h"

#include <QHash>
#include <algorithm>
#include <numeric>

namespace iconfoundry {

namespace {

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isHexDigit(char c)
{
    return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

class Parser
{
public:
    Parser(QByteArrayView text, int maxDepth, JsonReader::Failure* failure)
        : begin_(text.data()), p_(text.data()), end_(text.data() + text.size()), maxDepth_(maxDepth),
          failure_(failure)
    {
    }

    bool document(JsonNode& root)
    {
        // A byte-order mark says nothing in UTF-8; some editors put one in front.
        if (end_ - p_ >= 3 && QByteArrayView(p_, 3) == QByteArrayView("\xef\xbb\xbf"))
            p_ += 3;
        if (!value(root, 0))
            return false;
        skipSpace();
        if (p_ != end_)
            return syntax("garbage at the end of the document");
        return true;
    }

private:
    bool fail(JsonReader::Problem problem, const QString& description, const char* at)
    {
        if (failure_)
            *failure_ = JsonReader::Failure{problem, at - begin_, description};
        return false;
    }

    bool syntax(const char* description, const char* at = nullptr)
    {
        return fail(JsonReader::Problem::Syntax, QString::fromLatin1(description), at ? at : p_);
    }

    void skipSpace()
    {
        while (p_ < end_ && (*p_ == ' ' || *p_ == '\n' || *p_ == '\r' || *p_ == '\t'))
            ++p_;
    }

    bool value(JsonNode& out, int depth)
    {
        skipSpace();
        if (p_ == end_)
            return syntax("unexpected end of the text");
        switch (*p_) {
        case '{':
        case '[':
            if (depth > maxDepth_)
                return fail(JsonReader::Problem::TooDeep,
                            QStringLiteral("containers nest deeper than %1 levels").arg(maxDepth_), p_);
            return *p_ == '{' ? object(out, depth) : array(out, depth);
        case '"': {
            const char* start = p_;
            if (!string())
                return false;
            out = JsonNode(JsonNode::Type::String, QByteArray(start, p_ - start));
            return true;
        }
        case 't':
            return literal(out, "true", JsonNode::Type::Bool);
        case 'f':
            return literal(out, "false", JsonNode::Type::Bool);
        case 'n':
            return literal(out, "null", JsonNode::Type::Null);
        default:
            if (*p_ == '-' || isDigit(*p_))
                return number(out);
            return syntax("illegal value");
        }
    }

    bool literal(JsonNode& out, QByteArrayView word, JsonNode::Type type)
    {
        if (end_ - p_ < word.size() || QByteArrayView(p_, word.size()) != word)
            return syntax("illegal value");
        out = JsonNode(type, word.toByteArray());
        p_ += word.size();
        return true;
    }

    // -?(0|[1-9][0-9]*)(\.[0-9]+)?([eE][+-]?[0-9]+)?, kept as written.
    bool number(JsonNode& out)
    {
        const char* start = p_;
        const auto digits = [this] {
            if (p_ == end_ || !isDigit(*p_))
                return false;
            while (p_ < end_ && isDigit(*p_))
                ++p_;
            return true;
        };
        if (*p_ == '-')
            ++p_;
        if (p_ < end_ && *p_ == '0')
            ++p_;
        else if (!digits())
            return syntax("illegal number", start);
        if (p_ < end_ && *p_ == '.') {
            ++p_;
            if (!digits())
                return syntax("illegal number", start);
        }
        if (p_ < end_ && (*p_ == 'e' || *p_ == 'E')) {
            ++p_;
            if (p_ < end_ && (*p_ == '+' || *p_ == '-'))
                ++p_;
            if (!digits())
                return syntax("illegal number", start);
        }
        out = JsonNode(JsonNode::Type::Number, QByteArray(start, p_ - start));
        return true;
    }

    // Moves past a string starting at the quote under p_; escapes and control characters checked.
    bool string()
    {
        const char* start = p_++;
        while (p_ < end_) {
            const auto c = static_cast<unsigned char>(*p_);
            if (c == '"') {
                ++p_;
                return true;
            }
            if (c < 0x20)
                return syntax("control character in a string");
            if (c != '\\') {
                ++p_;
                continue;
            }
            const char* escape = p_++;
            if (p_ == end_)
                break;
            switch (*p_) {
            case '"':
            case '\\':
            case '/':
            case 'b':
            case 'f':
            case 'n':
            case 'r':
            case 't':
                ++p_;
                break;
            case 'u':
                if (end_ - p_ < 5 || !std::all_of(p_ + 1, p_ + 5, isHexDigit))
                    return syntax("invalid escape sequence", escape);
                p_ += 5;
                break;
            default:
                return syntax("invalid escape sequence", escape);
            }
        }
        return syntax("unterminated string", start);
    }

    bool array(JsonNode& out, int depth)
    {
        ++p_;
        JsonNode node(JsonNode::Type::Array);
        skipSpace();
        if (p_ < end_ && *p_ == ']') {
            ++p_;
            out = std::move(node);
            return true;
        }
        for (bool done = false; !done;) {
            node.elements().emplace_back();
            if (!value(node.elements().back(), depth + 1) || !next(']', "unterminated array", done))
                return false;
        }
        out = std::move(node);
        return true;
    }

    // Moves past what follows a member or an element: a comma, or the closing bracket (done).
    bool next(char close, const char* unterminated, bool& done)
    {
        skipSpace();
        if (p_ == end_)
            return syntax(unterminated);
        done = *p_ == close;
        if (!done && *p_ != ',')
            return syntax("missing value separator");
        ++p_;
        return true;
    }

    bool object(JsonNode& out, int depth)
    {
        ++p_;
        std::vector<JsonNode::Member> members;
        std::vector<const char*> keyPositions;
        skipSpace();
        if (p_ < end_ && *p_ == '}') {
            ++p_;
            out = JsonNode(JsonNode::Type::Object);
            return true;
        }
        for (bool done = false; !done;) {
            skipSpace();
            if (p_ == end_)
                return syntax("unterminated object");
            if (*p_ != '"')
                return syntax("expected a key in quotes");
            const char* keyStart = p_;
            if (!string())
                return false;
            JsonNode::Member member = key(QByteArrayView(keyStart, p_ - keyStart));
            skipSpace();
            if (p_ == end_)
                return syntax("unterminated object");
            if (*p_ != ':')
                return syntax("missing name separator");
            ++p_;
            if (!value(member.value, depth + 1))
                return false;
            members.push_back(std::move(member));
            keyPositions.push_back(keyStart);
            if (!next('}', "unterminated object", done))
                return false;
        }
        return sortMembers(out, members, keyPositions);
    }

    // Puts the members in key order; two members with one key are refused, at the later one.
    bool sortMembers(JsonNode& out, std::vector<JsonNode::Member>& members,
                     const std::vector<const char*>& at)
    {
        std::vector<size_t> order(members.size());
        std::iota(order.begin(), order.end(), 0);
        const auto byKey = [&](size_t a, size_t b) { return members[a].key < members[b].key; };
        // Files written by Xcode or by us are in order already.
        if (!std::is_sorted(order.begin(), order.end(), byKey))
            std::stable_sort(order.begin(), order.end(), byKey);
        for (size_t i = 1; i < order.size(); ++i) {
            const JsonNode::Member& first = members[order[i - 1]];
            if (first.key == members[order[i]].key) {
                QByteArray spelling = first.keyText;
                if (spelling.size() > 64)
                    spelling = spelling.left(60) + "...\"";
                return fail(JsonReader::Problem::DuplicateKey,
                            QStringLiteral("the key %1 twice in one object").arg(QString::fromUtf8(spelling)),
                            std::max(at[order[i - 1]], at[order[i]]));
            }
        }
        JsonNode node(JsonNode::Type::Object);
        for (size_t index : order)
            node.appendSorted(std::move(members[index]));
        out = std::move(node);
        return true;
    }

    // A member with the key's text and spelling; the same few keys recur in every entry of a long
    // file, so they are decoded once and shared.
    JsonNode::Member key(QByteArrayView spelling)
    {
        auto it = keys_.constFind(spelling);
        if (it == keys_.cend())
            it = keys_.insert(spelling, {JsonNode::unquoted(spelling), spelling.toByteArray()});
        return JsonNode::Member{it->first, it->second, JsonNode()};
    }

    const char* begin_;
    const char* p_;
    const char* end_;
    int maxDepth_;
    JsonReader::Failure* failure_;
    QHash<QByteArrayView, std::pair<QString, QByteArray>> keys_;
};

} // namespace

bool JsonReader::read(QByteArrayView text, int maxDepth, JsonNode& root, Failure* failure)
{
    if (const qsizetype bad = firstInvalidUtf8(text); bad >= 0) {
        if (failure)
            *failure = Failure{Problem::NotUtf8, bad, QStringLiteral("malformed UTF-8")};
        return false;
    }
    JsonNode node;
    if (!Parser(text, maxDepth, failure).document(node))
        return false;
    root = std::move(node);
    return true;
}

qsizetype JsonReader::firstInvalidUtf8(QByteArrayView text)
{
    const auto* p = reinterpret_cast<const unsigned char*>(text.data());
    const qsizetype n = text.size();
    qsizetype i = 0;
    while (i < n) {
        const unsigned char c = p[i];
        if (c < 0x80) {
            ++i;
            continue;
        }
        int length = 0;
        unsigned char low = 0x80, high = 0xbf; // allowed range of the second byte
        if (c >= 0xc2 && c <= 0xdf) {
            length = 2;
        } else if (c >= 0xe0 && c <= 0xef) {
            length = 3;
            if (c == 0xe0)
                low = 0xa0;
            else if (c == 0xed)
                high = 0x9f;
        } else if (c >= 0xf0 && c <= 0xf4) {
            length = 4;
            if (c == 0xf0)
                low = 0x90;
            else if (c == 0xf4)
                high = 0x8f;
        } else {
            return i;
        }
        if (i + length > n)
            return i;
        if (p[i + 1] < low || p[i + 1] > high)
            return i;
        for (int k = 2; k < length; ++k) {
            if ((p[i + k] & 0xc0) != 0x80)
                return i;
        }
        i += length;
    }
    return -1;
}

} // namespace iconfoundry
