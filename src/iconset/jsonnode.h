#pragma once

#include <QByteArray>
#include <QString>
#include <QStringView>
#include <vector>

namespace iconfoundry {

// One JSON value that remembers how it was spelled. Files that are partly someone else's (a
// project's Contents.json) are rewritten from these: a scalar nobody replaced goes back out with
// its own text, so 12345678901234567890, -0.0, 1e27 and "\ud800" survive exactly, where a round
// trip through doubles and QString would change them.
//
// - Scalars (null, true, false, numbers, strings) are their text: a string with its quotes and
//   escapes, exactly as it stood in the file or as quoted() spells a new one.
// - Arrays hold their elements; objects hold their members sorted by key (UTF-16 code units, the
//   order the writer puts them in), and never two members with one key.
// - A plain value type; copies are deep.
class JsonNode
{
public:
    enum class Type : quint8
    {
        Null,
        Bool,
        Number,
        String,
        Array,
        Object
    };
    struct Member;

    JsonNode() = default;
    explicit JsonNode(Type type, QByteArray text = {}) : type_(type), text_(std::move(text)) {}

    // A new string, spelled the way the writer spells strings.
    static JsonNode fromString(const QString& text) { return JsonNode(Type::String, quoted(text)); }
    // `text` between quotes; only the quote, the backslash and control characters are escaped
    // (\b \f \n \r \t, otherwise \u00XX); everything else, the slash included, goes out as UTF-8.
    static QByteArray quoted(QStringView text);
    // The text a string's spelling stands for, escapes resolved (a lone escaped surrogate stays a
    // lone UTF-16 code unit). `spelling` must be a well-formed JSON string with its quotes.
    static QString unquoted(QByteArrayView spelling);

    Type type() const { return type_; }
    bool isString() const { return type_ == Type::String; }
    bool isArray() const { return type_ == Type::Array; }
    bool isObject() const { return type_ == Type::Object; }
    // A scalar's exact text; empty for arrays and objects.
    const QByteArray& text() const { return text_; }
    // A string's value; empty for anything else.
    QString toString() const { return isString() ? unquoted(text_) : QString(); }
    // A string's spelling as quoted() spells its value: equal for equal values, however they
    // were escaped. Cheap for strings without escapes, which are spelled so already.
    QByteArray plainText() const;

    // Arrays.
    std::vector<JsonNode>& elements() { return elements_; }
    const std::vector<JsonNode>& elements() const { return elements_; }

    // Objects, in key order.
    const std::vector<Member>& members() const { return members_; }
    // The member's value, or nullptr when there is none (or this is not an object).
    const JsonNode* member(QStringView key) const;
    JsonNode* member(QStringView key);
    // Sets key's value, adding the member in its place when there is none.
    void insert(const QString& key, JsonNode value);
    void remove(QStringView key);
    // Adds a member read from a file; keys must come sorted and unique (the reader sees to it).
    void appendSorted(Member member);

private:
    std::vector<Member>::const_iterator lowerBound(QStringView key) const;

    Type type_ = Type::Null;
    QByteArray text_;
    std::vector<JsonNode> elements_;
    std::vector<Member> members_;
};

struct JsonNode::Member
{
    QString key;
    QByteArray keyText; // the key's spelling, quotes included
    JsonNode value;
};

} // namespace iconfoundry
