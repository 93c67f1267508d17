#pragma once

#include <cstddef>
#include <cstdint>

namespace iconfoundry {

// Joins independently compressed raw deflate streams into one, so that the parts of a large
// image can be compressed on several cores and still make the single zlib stream a PNG needs.
//
// A compressor ends its stream with a final block; leaveDeflateStreamOpen() walks the stream's
// blocks (it decodes their Huffman codes but writes no output), clears the final block's flag and
// appends an empty stored block, as a sync flush does: the stream then ends on a byte boundary
// and the next part's blocks follow directly.
//
// data holds a complete raw deflate stream of size bytes and has room for capacity bytes (at least
// size + 5). Returns the new size, or 0 when data is not a complete, well-formed stream with
// nothing after its final block (data may then have been changed).
size_t leaveDeflateStreamOpen(uint8_t* data, size_t size, size_t capacity);

} // namespace iconfoundry
