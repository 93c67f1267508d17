#include "iconset/slotindex.h"

#include <QList>
#include <algorithm>

namespace iconfoundry {

namespace {

const JsonNode* fileNameOf(const JsonNode& entry)
{
    return entry.member(u"filename");
}

} // namespace

SlotIndex::SlotIndex(const std::vector<JsonNode>& images)
{
    slots_.reserve(qsizetype(images.size()));
    for (size_t i = 0; i < images.size(); ++i)
        add(images[i], qsizetype(i));
}

std::optional<SlotIndex::Slot> SlotIndex::slotOf(const JsonNode& entry)
{
    const JsonNode* idiom = entry.member(u"idiom");
    const JsonNode* size = entry.member(u"size");
    const JsonNode* scale = entry.member(u"scale");
    if (!idiom || !idiom->isString() || !size || !size->isString() || (scale && !scale->isString()))
        return std::nullopt;
    Slot slot{idiom->plainText(), size->plainText(), !scale, {}, {}, {}};
    if (scale) {
        slot.scale = scale->plainText();
    } else if (const JsonNode* platform = entry.member(u"platform")) {
        if (!platform->isString())
            return std::nullopt;
        slot.platform = platform->plainText();
    }
    if (const JsonNode* appearances = entry.member(u"appearances")) {
        if (!appearances->isArray())
            return std::nullopt;
        QList<QByteArray> pairs;
        for (const JsonNode& item : appearances->elements()) {
            const JsonNode* kind = item.member(u"appearance");
            const JsonNode* value = item.member(u"value");
            if (!kind || !kind->isString() || !value || !value->isString())
                return std::nullopt;
            pairs.append(kind->plainText() + '=' + value->plainText());
        }
        std::sort(pairs.begin(), pairs.end());
        slot.appearances = pairs.join('\n');
    }
    return slot;
}

qsizetype SlotIndex::firstHolder(const JsonNode& entry) const
{
    const std::optional<Slot> slot = slotOf(entry);
    return slot ? slots_.value(*slot).first : -1;
}

bool SlotIndex::heldByOtherFile(const JsonNode& entry) const
{
    const std::optional<Slot> slot = slotOf(entry);
    if (!slot)
        return false;
    const Holders holders = slots_.value(*slot);
    if (holders.names != 1)
        return holders.names > 1;
    const JsonNode* mine = fileNameOf(entry);
    return !mine || !mine->isString() || mine->plainText() != holders.name;
}

void SlotIndex::add(const JsonNode& entry, qsizetype index)
{
    const std::optional<Slot> slot = slotOf(entry);
    if (!slot)
        return;
    Holders& holders = slots_[*slot];
    if (holders.first < 0)
        holders.first = index;
    const JsonNode* theirs = fileNameOf(entry);
    if (!theirs || holders.names > 1)
        return;
    // Anything but a text differs from every file name; count it as a second name.
    if (!theirs->isString())
        holders.names = 2;
    else if (holders.names == 0)
        holders = Holders{holders.first, 1, theirs->plainText()};
    else if (theirs->plainText() != holders.name)
        holders.names = 2;
}

} // namespace iconfoundry
