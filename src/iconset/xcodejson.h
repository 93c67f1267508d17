#pragma once

#include "iconset/jsonnode.h"
#include "platform/error.h"

#include <QByteArray>
#include <QJsonObject>
#include <QJsonValue>

namespace iconfoundry {

// Writes JSON the way Xcode writes an asset catalogue's Contents.json, so that a file we rewrite
// differs from Xcode's own only in the lines whose content really changed:
//
// 1. Two blanks of indent per level, one member or element per line.
// 2. A member is `"key" : value` (a blank on both sides of the colon); members sorted by key
//    (plain UTF-16 code-unit order).
// 3. An empty array is written as `[`, an empty line, and `]` at the member's indent; an empty
//    object likewise with braces.
// 4. Strings are UTF-8; only the quote, the backslash and control characters are escaped (the
//    usual short forms \b \f \n \r \t, otherwise \u00XX). The slash is not escaped.
// 5. Whole numbers are written without a fraction ("version" : 1); others in the shortest form
//    that reads back to the same double.
// 6. The text ends with one line feed.
//
// Rules 4 and 5 are how new values are spelled (toNode()). A JsonNode read from a file keeps its
// own spelling of every key and scalar, and only rules 1 to 3 and 6 apply to it.
//
// Stateless and thread-safe.
class XcodeJSON
{
public:
    // Refuses values JSON cannot express (NaN, infinities) and nesting deeper than maxDepth.
    static bool serialize(const QJsonObject& root, QByteArray& out, Error* error = nullptr);
    // Refuses nesting deeper than maxDepth.
    static bool serialize(const JsonNode& root, QByteArray& out, Error* error = nullptr);
    // value spelled by rules 4 and 5; refuses what serialize(QJsonObject) refuses.
    static bool toNode(const QJsonValue& value, JsonNode& out, Error* error = nullptr);

    static constexpr int maxDepth = 256;
    // The description of the TooDeep error.
    static QString tooDeepDescription();
    static inline const QString errorDomain = QStringLiteral("XcodeJSON");
    enum ErrorCode
    {
        NumberNotFinite = 1,
        TooDeep = 2
    };
};

} // namespace iconfoundry
