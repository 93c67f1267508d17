#pragma once

#include "iconset/jsonnode.h"

#include <QHash>
#include <QString>
#include <optional>
#include <vector>

namespace iconfoundry {

// Which entries of a Contents.json "images" list hold which slot, so that placing every catalogue
// size into a list of any length takes one pass over the list rather than one pass per size.
//
// An entry holds a slot when its "idiom" and "size" are texts. Two entries hold the same slot when
// they have the same texts (compared exactly and case-sensitively) for
// - "idiom", "size" and "scale", when both have a scale;
// - "idiom", "size" and "platform", when neither has a scale (a single-size slot: Xcode writes
//   the 1024-point icon without one, and running twice must fill it, not add a second);
// and the same luminosity appearances ("appearances", in any order; none is the default look),
// so that a dark or tinted slot is never taken for the default one.
// An entry lacking "idiom" or "size", or holding something other than texts in the compared keys
// or a malformed "appearances", holds no slot: it never matches anything. "role", "subtype" and
// "filename" (and "platform" between entries with a scale) do not take part.
//
// Built once per list; not thread-safe.
class SlotIndex
{
public:
    explicit SlotIndex(const std::vector<JsonNode>& images);

    // The index of the first entry that holds entry's slot, or -1 (always when entry holds none).
    qsizetype firstHolder(const JsonNode& entry) const;
    // True when an indexed entry holds entry's slot with a "filename" other than entry's (any
    // "filename" differs from an absent one). Entries without a "filename" are empty slots and
    // do not count. Replacing entries in the list does not change the answer.
    bool heldByOtherFile(const JsonNode& entry) const;
    // Records entry, which has just been appended to the list at index.
    void add(const JsonNode& entry, qsizetype index);

private:
    // The plain spellings (JsonNode::plainText) of the compared texts: equal texts, equal
    // spellings. `scale` is empty for a single-size slot, `platform` empty for a slot with a
    // scale; `appearances` is the sorted "appearance=value" pairs.
    struct Slot
    {
        QByteArray idiom;
        QByteArray size;
        bool single = false;
        QByteArray scale;
        QByteArray platform;
        QByteArray appearances;
        bool operator==(const Slot&) const = default;
    };
    friend size_t qHash(const Slot& slot, size_t seed)
    {
        return qHashMulti(seed, slot.idiom, slot.size, slot.single, slot.scale, slot.platform,
                          slot.appearances);
    }

    struct Holders
    {
        qsizetype first = -1;
        // The file names of the slot's entries: none, exactly one text (name), or more than that.
        int names = 0;
        QByteArray name; // plain spelling
    };

    static std::optional<Slot> slotOf(const JsonNode& entry);

    QHash<Slot, Holders> slots_;
};

} // namespace iconfoundry
