#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

/// The past of several tracks as bytes, the same on disk and on the wire; numbers are little-endian:
///
///     8 bytes "ZQMHIST1"
///     u32 period of a slot in seconds: 1, 60 or 900
///     u32 parts of a value: 1, or 3: mean, least, greatest
///     u32 first slot, in periods since 1970
///     u32 count of slots
///     u32 count of tracks
///     u32 width of a number: 4 (float, NaN where nothing is known), or 1 (half percents 0 to 200, else nothing known)
///     24 bytes for the name of each track, padded with NUL
///     for each track, for each part: count numbers
///     u64 FNV-1a of all of that
namespace zqm {

struct BlockShape {
    std::uint32_t period = 1;
    std::uint32_t parts = 1;
    std::uint32_t first = 0;
    std::uint32_t count = 0;
    std::uint32_t width = 4;
    std::vector<std::string> names{};

    std::size_t index(std::size_t track, std::size_t part, std::size_t slot) const {
        return (track * parts + part) * count + slot;
    }
    std::size_t size() const { return names.size() * parts * count; }
};

constexpr std::size_t blockNameSize = 24;

/// Takes the numbers of a block one after the other, in its order.
class BlockWriter {
public:
    explicit BlockWriter(const BlockShape& shape);
    void put(float value);
    void put(std::uint8_t value) { bytes_ += static_cast<char>(value); }
    /// All of it, with its checksum.
    std::string take();

private:
    std::string bytes_;
};

/// A block that has been read, shares as 0…1 whatever their width was.
struct HistoryBlock {
    BlockShape shape;
    std::vector<float> values;

    float at(std::size_t track, std::size_t part, std::size_t slot) const {
        return values[shape.index(track, part, slot)];
    }
};

/// Reads any bytes: the block, or why it is none, for a person.
std::variant<HistoryBlock, std::string> readBlock(std::string_view bytes);

constexpr std::uint8_t unknownShare = 255;
std::uint8_t shareByte(double share);

}  // namespace zqm
