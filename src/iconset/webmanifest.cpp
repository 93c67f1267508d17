#include "iconset/webmanifest.h"

#include "iconset/jsonnode.h"
#include "iconset/jsonreader.h"

#include <QRegularExpression>
#include <QSet>
#include <vector>

namespace iconfoundry {

namespace {

// Positions in a text that JsonReader has already accepted: no bounds or syntax checks needed.
bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

qsizetype skipSpace(const QByteArray& text, qsizetype i)
{
    while (i < text.size() && isSpace(text[i]))
        ++i;
    return i;
}

qsizetype skipString(const QByteArray& text, qsizetype i)
{
    for (++i; text[i] != '"'; ++i)
        if (text[i] == '\\')
            ++i;
    return i + 1;
}

qsizetype skipValue(const QByteArray& text, qsizetype i)
{
    if (text[i] == '"')
        return skipString(text, i);
    if (text[i] == '{' || text[i] == '[') {
        int depth = 0;
        for (;;) {
            const char c = text[i];
            if (c == '"') {
                i = skipString(text, i);
                continue;
            }
            if (c == '{' || c == '[')
                ++depth;
            else if ((c == '}' || c == ']') && --depth == 0)
                return i + 1;
            ++i;
        }
    }
    while (i < text.size() && !isSpace(text[i]) && text[i] != ',' && text[i] != ']' && text[i] != '}')
        ++i;
    return i;
}

struct Member
{
    QString key;
    qsizetype keyBegin = 0, keyEnd = 0, valueBegin = 0, valueEnd = 0;
};

// The members of the object that opens at `open`; `close` gets the position of its brace.
std::vector<Member> membersOf(const QByteArray& text, qsizetype open, qsizetype* close)
{
    std::vector<Member> members;
    qsizetype i = skipSpace(text, open + 1);
    while (text[i] != '}') {
        Member member;
        member.keyBegin = i;
        member.keyEnd = skipString(text, i);
        member.key = JsonNode::unquoted(QByteArrayView(text).sliced(i, member.keyEnd - i));
        i = skipSpace(text, skipSpace(text, member.keyEnd) + 1); // past the colon
        member.valueBegin = i;
        member.valueEnd = skipValue(text, i);
        members.push_back(member);
        i = skipSpace(text, member.valueEnd);
        if (text[i] == ',')
            i = skipSpace(text, i + 1);
    }
    *close = i;
    return members;
}

// Begin and end of each element of the array that opens at `open`.
std::vector<std::pair<qsizetype, qsizetype>> elementsOf(const QByteArray& text, qsizetype open)
{
    std::vector<std::pair<qsizetype, qsizetype>> elements;
    qsizetype i = skipSpace(text, open + 1);
    while (text[i] != ']') {
        const qsizetype end = skipValue(text, i);
        elements.emplace_back(i, end);
        i = skipSpace(text, end);
        if (text[i] == ',')
            i = skipSpace(text, i + 1);
    }
    return elements;
}

// The blanks before position on its line; two blanks when something else stands there first (a
// manifest on one line gets its icons one per line all the same).
QByteArray indentBefore(const QByteArray& text, qsizetype position)
{
    qsizetype start = position;
    while (start > 0 && (text[start - 1] == ' ' || text[start - 1] == '\t'))
        --start;
    if (start > 0 && text[start - 1] != '\n')
        return "  ";
    return text.mid(start, position - start);
}

bool isPlainRelativePng(const QString& src)
{
    static const QRegularExpression scheme(QStringLiteral("^[A-Za-z][A-Za-z0-9+.-]*:"));
    if (src.isEmpty() || src.startsWith(QLatin1Char('/')) || src.contains(QLatin1Char('\\')) ||
        src.contains(scheme) || src.contains(QLatin1Char('?')) || src.contains(QLatin1Char('#')) ||
        src.contains(QLatin1Char('%')) || !src.endsWith(QLatin1String(".png"), Qt::CaseInsensitive))
        return false;
    for (const QString& part : src.split(QLatin1Char('/')))
        if (part.isEmpty() || part == QLatin1String(".") || part == QLatin1String(".."))
            return false;
    return true;
}

// The index of our icon whose slot the entry is, or -1.
int slotOf(const JsonNode& entry, const QList<WebManifest::Icon>& icons)
{
    if (!entry.isObject())
        return -1;
    const JsonNode* sizes = entry.member(u"sizes");
    const JsonNode* purpose = entry.member(u"purpose");
    if (!sizes || !sizes->isString() || (purpose && !purpose->isString()))
        return -1;
    const QStringList sizeList = sizes->toString().toLower().split(QLatin1Char(' '), Qt::SkipEmptyParts);
    QStringList purposes = purpose ? purpose->toString().split(QLatin1Char(' '), Qt::SkipEmptyParts)
                                   : QStringList{QStringLiteral("any")};
    purposes.removeDuplicates();
    for (int i = 0; i < icons.size(); ++i) {
        const QString side = QString::number(icons[i].side);
        if (sizeList == QStringList{side + QLatin1Char('x') + side} &&
            purposes == QStringList{icons[i].purpose})
            return i;
    }
    return -1;
}

QByteArray entryText(const WebManifest::Icon& icon, const QByteArray& indent, const QByteArray& unit,
                     const QByteArray& separator, const QByteArray& newline)
{
    const QByteArray inner = indent + unit;
    const QByteArray side = QByteArray::number(icon.side);
    const std::pair<const char*, QByteArray> members[] = {
        {"src", JsonNode::quoted(icon.src)},
        {"sizes", '"' + side + 'x' + side + '"'},
        {"type", "\"image/png\""},
        {"purpose", JsonNode::quoted(icon.purpose)},
    };
    QByteArray out = "{" + newline;
    for (size_t i = 0; i < std::size(members); ++i) {
        out += inner + '"' + members[i].first + '"' + separator + members[i].second;
        out += (i + 1 < std::size(members) ? "," : "") + newline;
    }
    return out + indent + '}';
}

} // namespace

bool WebManifest::merge(const QByteArray& text, QList<Icon>& icons, QByteArray& out, Error* error)
{
    const QByteArray source = text.trimmed().isEmpty() ? QByteArray("{}\n") : text;
    JsonNode root;
    JsonReader::Failure failure;
    if (!JsonReader::read(source, 64, root, &failure)) {
        Error::set(error, errorDomain, NotJson,
                   QStringLiteral("The manifest is not valid JSON (%1 at byte %2).")
                       .arg(failure.description)
                       .arg(failure.offset));
        return false;
    }
    if (!root.isObject()) {
        Error::set(error, errorDomain, NotAnObject,
                   QStringLiteral("The manifest's top level is not a JSON object."));
        return false;
    }
    const JsonNode* existing = root.member(u"icons");
    if (existing && !existing->isArray()) {
        Error::set(error, errorDomain, IconsNotArray,
                   QStringLiteral("The manifest's \u201cicons\u201d is not an array."));
        return false;
    }

    const qsizetype open = skipSpace(source, 0);
    qsizetype close = 0;
    const std::vector<Member> members = membersOf(source, open, &close);
    const QByteArray newline = source.contains("\r\n") ? QByteArray("\r\n") : QByteArray("\n");
    // The separator between key and value as the file spells it, else ours.
    QByteArray separator = ": ";
    if (!members.empty()) {
        separator = source.mid(members.front().keyEnd, members.front().valueBegin - members.front().keyEnd);
        separator.replace('\n', "").replace('\r', "");
    }
    const Member* iconsMember = nullptr;
    for (const Member& member : members)
        if (member.key == QLatin1String("icons"))
            iconsMember = &member;
    QByteArray memberIndent = iconsMember       ? indentBefore(source, iconsMember->keyBegin)
                              : members.empty() ? QByteArray("  ")
                                                : indentBefore(source, members.back().keyBegin);
    const QByteArray unit = memberIndent.isEmpty()          ? QByteArray("  ")
                            : memberIndent.startsWith('\t') ? QByteArray("\t")
                                                            : memberIndent;
    const QByteArray elementIndent = memberIndent + unit;

    // The elements: kept ones as written, our slots in their place, new slots at the end.
    QList<Icon> merged = icons;
    QList<QByteArray> elements;
    QList<int> elementSlot; // -1 for an element kept as written
    QSet<int> placed;
    QSet<QString> namesTaken;
    if (iconsMember) {
        const auto spans = elementsOf(source, iconsMember->valueBegin);
        for (size_t i = 0; i < spans.size(); ++i) {
            const JsonNode& node = existing->elements()[i];
            const int slot = slotOf(node, merged);
            if (slot < 0 || placed.contains(slot)) {
                elements.append(source.mid(spans[i].first, spans[i].second - spans[i].first));
                elementSlot.append(-1);
                continue;
            }
            placed.insert(slot);
            const JsonNode* src = node.member(u"src");
            const QString name = src && src->isString() ? src->toString() : QString();
            if (isPlainRelativePng(name) && !namesTaken.contains(name))
                merged[slot].src = name;
            namesTaken.insert(merged[slot].src);
            elements.append(QByteArray());
            elementSlot.append(slot);
        }
    }
    for (int slot = 0; slot < merged.size(); ++slot) {
        if (placed.contains(slot))
            continue;
        if (namesTaken.contains(merged[slot].src)) {
            Error::set(error, errorDomain, NotJson,
                       QStringLiteral("The manifest already uses \u201c%1\u201d for another icon.")
                           .arg(merged[slot].src));
            return false;
        }
        namesTaken.insert(merged[slot].src);
        elements.append(QByteArray());
        elementSlot.append(slot);
    }
    QByteArray array = "[" + newline;
    for (qsizetype i = 0; i < elements.size(); ++i) {
        array += elementIndent;
        array += elementSlot[i] < 0
                     ? elements[i]
                     : entryText(merged[elementSlot[i]], elementIndent, unit, separator, newline);
        array += (i + 1 < elements.size() ? "," : "") + newline;
    }
    array += memberIndent + ']';

    QByteArray result = source;
    if (iconsMember) {
        result.replace(iconsMember->valueBegin, iconsMember->valueEnd - iconsMember->valueBegin, array);
    } else if (members.empty()) {
        result.replace(open, close + 1 - open,
                       "{" + newline + memberIndent + "\"icons\"" + separator + array + newline + "}");
    } else {
        result.insert(members.back().valueEnd,
                      "," + newline + memberIndent + "\"icons\"" + separator + array);
    }
    out = result;
    icons = merged;
    return true;
}

} // namespace iconfoundry
