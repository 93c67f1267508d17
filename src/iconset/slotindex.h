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
// An entry holds a slot when its "idiom", "size" and "scale" are all texts; two entries hold the
// same slot when the three are the same texts, compared exactly and case-sensitively. An entry
// lacking one of them, or holding something other than a text there, holds no slot: it never
// matches anything. "platform", "role", "subtype" and "filename" do not take part.
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
    // The plain spellings (JsonNode::plainText) of "idiom", "size" and "scale": equal texts,
    // equal spellings.
    struct Slot
    {
        QByteArray idiom;
        QByteArray size;
        QByteArray scale;
        bool operator==(const Slot&) const = default;
    };
    friend size_t qHash(const Slot& slot, size_t seed)
    {
        return qHashMulti(seed, slot.idiom, slot.size, slot.scale);
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
