#pragma once

#include "iconset/jsonnode.h"

#include <QByteArrayView>
#include <QString>

namespace iconfoundry {

// Reads JSON text into JsonNodes that keep each scalar's own spelling, in one pass over the text.
//
// Stricter than a reader that only wants the values, because what it reads is written back:
// - the text must be well-formed UTF-8 throughout (no overlong forms, no encoded surrogates);
// - an object must not name a key twice: keeping either value would silently lose the other;
// - containers nest at most maxDepth levels below the root, so that the writer, which refuses
//   deeper documents, can always write back what was read, and no file can exhaust the stack.
// Escaped surrogates, lone ones included, are accepted: they are kept as written.
//
// Stateless and thread-safe.
class JsonReader
{
public:
    enum class Problem
    {
        None,
        NotUtf8,
        Syntax,
        TooDeep,
        DuplicateKey
    };
    struct Failure
    {
        Problem problem = Problem::None;
        qsizetype offset = -1; // of the first byte at fault
        QString description;   // what is wrong, without the offset ("unterminated string")
    };

    // On failure returns false, fills failure and leaves root alone.
    static bool read(QByteArrayView text, int maxDepth, JsonNode& root, Failure* failure = nullptr);

    // Offset of the first byte that does not belong to well-formed UTF-8 (overlong forms,
    // surrogates and code points above U+10FFFF included), or -1 when all of it is well-formed.
    static qsizetype firstInvalidUtf8(QByteArrayView text);
};

} // namespace iconfoundry
