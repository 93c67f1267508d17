#include "iconset/deflatejoin.h"

#include <QtEndian>
#include <algorithm>
#include <array>
#include <cstring>

namespace iconfoundry {

namespace {

// Bits of a deflate stream, least significant first, with the position counted in bits. Reads
// past the end give zeros; overrun() tells when they were used.
class Bits
{
public:
    Bits(const uint8_t* data, size_t size) : data_(data), size_(size) {}

    // At least 57 bits from the position on.
    uint64_t peek() const
    {
        const size_t byte = size_t(position >> 3);
        uint64_t value = 0;
        if (byte + 8 <= size_) {
            std::memcpy(&value, data_ + byte, 8);
            value = qFromLittleEndian(value);
        } else {
            for (size_t i = 0; i < 8 && byte + i < size_; ++i)
                value |= uint64_t(data_[byte + i]) << (8 * i);
        }
        return value >> (position & 7);
    }
    uint32_t take(unsigned count)
    {
        const uint32_t value = uint32_t(peek() & ((uint64_t(1) << count) - 1));
        position += count;
        return value;
    }
    bool overrun() const { return position > uint64_t(size_) * 8; }

    uint64_t position = 0;

private:
    const uint8_t* data_;
    size_t size_;
};

// A canonical Huffman code. Codes of up to kFastBits bits are found in one look-up of the next
// kFastBits bits of the stream (a table small enough to stay in the first-level cache); longer
// ones, rare in practice, are decoded a bit at a time from the counts of codes per length.
class Huffman
{
public:
    static constexpr unsigned kFastBits = 10;

    bool build(const uint8_t* lengths, unsigned count)
    {
        perLength_.fill(0);
        for (unsigned symbol = 0; symbol < count; ++symbol)
            ++perLength_[lengths[symbol]];
        perLength_[0] = 0;
        int left = 1; // codes not yet handed out, of the current length
        for (unsigned length = 1; length < 16; ++length) {
            left = left * 2 - int(perLength_[length]);
            if (left < 0)
                return false; // more codes than there is room for
        }
        // Symbols in code order: by length, then by symbol.
        std::array<unsigned, 16> offset{};
        for (unsigned length = 1; length < 15; ++length)
            offset[length + 1] = offset[length] + perLength_[length];
        symbols_.fill(0);
        for (unsigned symbol = 0; symbol < count; ++symbol)
            if (lengths[symbol])
                symbols_[offset[lengths[symbol]]++] = uint16_t(symbol);

        fast_.fill(0);
        for (unsigned length = 1, code = 0, index = 0; length <= kFastBits; ++length, code <<= 1) {
            for (unsigned n = 0; n < perLength_[length]; ++n, ++code, ++index) {
                // Codes are defined most significant bit first but read least significant first.
                unsigned reversed = 0;
                for (unsigned i = 0, c = code; i < length; ++i, c >>= 1)
                    reversed = (reversed << 1) | (c & 1);
                for (unsigned slot = reversed; slot < fast_.size(); slot += 1u << length)
                    fast_[slot] = uint16_t(length << 9 | symbols_[index]);
            }
        }
        return true;
    }

    // The next symbol, or -1 for bits that start no code.
    int decode(Bits& bits) const
    {
        const uint64_t next = bits.peek();
        const uint16_t entry = fast_[size_t(next & ((1u << kFastBits) - 1))];
        if (entry != 0) {
            bits.position += entry >> 9;
            return entry & 511;
        }
        // A longer code (or none): walk the lengths, as the canonical code is defined.
        int code = 0, first = 0, index = 0;
        for (unsigned length = 1; length < 16; ++length) {
            code |= int((next >> (length - 1)) & 1);
            const int count = int(perLength_[length]);
            if (code - first < count) {
                bits.position += length;
                return symbols_[size_t(index + code - first)];
            }
            index += count;
            first = (first + count) << 1;
            code <<= 1;
        }
        return -1;
    }

private:
    std::array<uint16_t, 1u << kFastBits> fast_{};
    std::array<unsigned, 16> perLength_{};
    std::array<uint16_t, 288> symbols_{};
};

// Extra bits after length symbols 257..285 and distance symbols 0..29.
constexpr std::array<uint8_t, 29> kLengthExtra = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2,
                                                  2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
constexpr std::array<uint8_t, 30> kDistanceExtra = {0, 0, 0, 0, 1, 1, 2, 2,  3,  3,  4,  4,  5,  5,  6,
                                                    6, 7, 7, 8, 8, 9, 9, 10, 10, 11, 11, 12, 12, 13, 13};

// Skips the symbols of one Huffman-coded block up to and including its end-of-block code.
bool skipSymbols(Bits& bits, const Huffman& literals, const Huffman& distances)
{
    for (;;) {
        if (bits.overrun())
            return false;
        const int symbol = literals.decode(bits);
        if (symbol < 0 || symbol > 285)
            return false;
        if (symbol < 256)
            continue;
        if (symbol == 256)
            return true;
        bits.position += kLengthExtra[size_t(symbol - 257)];
        const int distance = distances.decode(bits);
        if (distance < 0 || distance > 29)
            return false;
        bits.position += kDistanceExtra[size_t(distance)];
    }
}

bool readDynamicCodes(Bits& bits, Huffman& literals, Huffman& distances)
{
    const unsigned literalCount = bits.take(5) + 257;
    const unsigned distanceCount = bits.take(5) + 1;
    const unsigned lengthCodeCount = bits.take(4) + 4;
    if (literalCount > 286 || distanceCount > 30)
        return false;
    static constexpr std::array<uint8_t, 19> kOrder = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                                       11, 4,  12, 3, 13, 2, 14, 1, 15};
    std::array<uint8_t, 19> lengthCodeLengths{};
    for (unsigned i = 0; i < lengthCodeCount; ++i)
        lengthCodeLengths[kOrder[i]] = uint8_t(bits.take(3));
    Huffman lengthCode;
    if (!lengthCode.build(lengthCodeLengths.data(), 19))
        return false;

    std::array<uint8_t, 286 + 30> lengths{};
    const unsigned total = literalCount + distanceCount;
    for (unsigned i = 0; i < total;) {
        if (bits.overrun())
            return false;
        const int symbol = lengthCode.decode(bits);
        if (symbol < 0)
            return false;
        if (symbol < 16) {
            lengths[i++] = uint8_t(symbol);
            continue;
        }
        uint8_t value = 0;
        unsigned repeat = 0;
        if (symbol == 16) {
            if (i == 0)
                return false;
            value = lengths[i - 1];
            repeat = 3 + bits.take(2);
        } else if (symbol == 17) {
            repeat = 3 + bits.take(3);
        } else {
            repeat = 11 + bits.take(7);
        }
        if (i + repeat > total)
            return false;
        std::fill_n(lengths.begin() + i, repeat, value);
        i += repeat;
    }
    if (lengths[256] == 0)
        return false; // no end-of-block code
    return literals.build(lengths.data(), literalCount) &&
           distances.build(lengths.data() + literalCount, distanceCount);
}

} // namespace

size_t leaveDeflateStreamOpen(uint8_t* data, size_t size, size_t capacity)
{
    if (!data || size == 0 || capacity < size + 5)
        return 0;
    Bits bits(data, size);
    Huffman literals, distances;
    for (;;) {
        const uint64_t header = bits.position;
        const bool final = bits.take(1);
        const unsigned type = bits.take(2);
        if (type == 0) {
            bits.position = (bits.position + 7) & ~uint64_t(7);
            const uint32_t length = bits.take(16);
            if ((bits.take(16) ^ 0xffff) != length)
                return 0;
            bits.position += uint64_t(length) * 8;
        } else if (type == 1) {
            std::array<uint8_t, 288> fixed{};
            std::fill_n(fixed.begin(), 144, 8);
            std::fill_n(fixed.begin() + 144, 112, 9);
            std::fill_n(fixed.begin() + 256, 24, 7);
            std::fill_n(fixed.begin() + 280, 8, 8);
            std::array<uint8_t, 30> fixedDistances{};
            fixedDistances.fill(5);
            if (!literals.build(fixed.data(), 288) || !distances.build(fixedDistances.data(), 30) ||
                !skipSymbols(bits, literals, distances))
                return 0;
        } else if (type == 2) {
            if (!readDynamicCodes(bits, literals, distances) || !skipSymbols(bits, literals, distances))
                return 0;
        } else {
            return 0;
        }
        if (bits.overrun())
            return 0;
        if (!final)
            continue;
        // Nothing may follow the final block but the zero bits that fill its last byte.
        const uint64_t end = bits.position;
        if ((end + 7) / 8 != size)
            return 0;
        data[header >> 3] &= uint8_t(~(1u << (header & 7)));
        if (end & 7)
            data[end >> 3] &= uint8_t((1u << (end & 7)) - 1);
        // An empty stored block: three zero bits (not final, stored), zeros to the byte boundary,
        // then length 0 and its complement.
        const size_t aligned = size_t((end + 3 + 7) / 8);
        std::fill(data + size, data + aligned, uint8_t(0));
        const uint8_t marker[4] = {0x00, 0x00, 0xff, 0xff};
        std::memcpy(data + aligned, marker, 4);
        return aligned + 4;
    }
}

} // namespace iconfoundry
