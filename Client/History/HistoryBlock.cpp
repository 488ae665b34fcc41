#include "Client/History/HistoryBlock.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <span>

#include "Client/Texts.h"
#include "Support/ByteOrder.h"

namespace zqm {
namespace {

constexpr std::string_view magic = "ZQMHIST1";
constexpr std::size_t headSize = 32;
constexpr std::size_t checksumSize = 8;
constexpr std::size_t mostNumbers = 1024 * 1024;
constexpr double sharesPerUnit = 200;
constexpr float unknown = std::numeric_limits<float>::quiet_NaN();

void appendLittleEndian(std::string& out, std::uint64_t number, std::size_t bytes) {
    for (std::size_t i = 0; i < bytes; ++i) out += static_cast<char>(number >> (8 * i) & 0xFF);
}

std::uint64_t checksum(std::string_view bytes) {
    std::uint64_t sum = 0xCBF29CE484222325;
    for (const char byte : bytes) sum = (sum ^ static_cast<std::uint8_t>(byte)) * 0x100000001B3;
    return sum;
}

std::span<const std::uint8_t> octets(std::string_view bytes) {
    return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}

/// The numbers of the head; what they announce may be absurd.
BlockShape shapeOf(std::span<const std::uint8_t> head, std::uint32_t& tracks) {
    BlockShape shape;
    std::size_t offset = magic.size();
    for (std::uint32_t* number : {&shape.period, &shape.parts, &shape.first, &shape.count, &tracks, &shape.width}) {
        *number = littleEndian32(head, offset);
        offset += 4;
    }
    return shape;
}

bool isPlausible(const BlockShape& shape, std::uint32_t tracks) {
    const bool isTier = shape.period == 1 || shape.period == 60 || shape.period == 900;
    const std::uint64_t numbers = std::uint64_t{shape.count} * tracks * shape.parts;
    return isTier && (shape.parts == 1 || shape.parts == 3) && (shape.width == 1 || shape.width == 4) &&
           shape.count <= mostNumbers && tracks <= mostNumbers && numbers <= mostNumbers &&
           shape.first <= std::numeric_limits<std::uint32_t>::max() - shape.count;
}

float numberAt(std::span<const std::uint8_t> bytes, std::size_t index, std::uint32_t width) {
    if (width == 1) {
        const std::uint8_t share = bytes[index];
        return share > sharesPerUnit ? unknown : static_cast<float>(share / sharesPerUnit);
    }
    const float value = std::bit_cast<float>(littleEndian32(bytes, index * 4));
    return std::isfinite(value) ? value : unknown;
}

}  // namespace

std::uint8_t shareByte(double share) {
    if (!std::isfinite(share)) return unknownShare;
    return static_cast<std::uint8_t>(std::lround(std::clamp(share, 0.0, 1.0) * sharesPerUnit));
}

BlockWriter::BlockWriter(const BlockShape& shape) {
    bytes_.reserve(headSize + shape.names.size() * blockNameSize + shape.size() * shape.width + checksumSize);
    bytes_ += magic;
    const auto tracks = static_cast<std::uint32_t>(shape.names.size());
    for (const std::uint32_t number : {shape.period, shape.parts, shape.first, shape.count, tracks, shape.width}) {
        appendLittleEndian(bytes_, number, 4);
    }
    for (std::string name : shape.names) {
        name.resize(blockNameSize, '\0');
        bytes_ += name;
    }
}

void BlockWriter::put(float value) {
    appendLittleEndian(bytes_, std::bit_cast<std::uint32_t>(value), 4);
}

std::string BlockWriter::take() {
    appendLittleEndian(bytes_, checksum(bytes_), checksumSize);
    return std::move(bytes_);
}

std::variant<HistoryBlock, std::string> readBlock(std::string_view bytes) {
    const std::string_view kind = magic.substr(0, magic.size() - 1);
    if (!bytes.starts_with(kind)) return std::string(said("it is no history"));
    if (!bytes.starts_with(magic)) return std::string(said("it is of another version"));
    const std::string torn(said("it is damaged"));
    if (bytes.size() < headSize + checksumSize) return torn;
    const std::string_view content = bytes.substr(0, bytes.size() - checksumSize);
    const auto sum = octets(bytes.substr(content.size()));
    if ((std::uint64_t{littleEndian32(sum, 4)} << 32 | littleEndian32(sum, 0)) != checksum(content)) return torn;
    std::uint32_t tracks = 0;
    HistoryBlock block{shapeOf(octets(bytes), tracks), {}};
    BlockShape& shape = block.shape;
    if (!isPlausible(shape, tracks)) return torn;
    const std::size_t numbers = std::size_t{shape.count} * tracks * shape.parts;
    const std::size_t begin = headSize + tracks * blockNameSize;
    if (content.size() != begin + numbers * shape.width) return torn;
    for (std::size_t i = 0; i < tracks; ++i) {
        const std::string_view name = content.substr(headSize + i * blockNameSize, blockNameSize);
        shape.names.emplace_back(name.substr(0, name.find('\0')));
    }
    block.values.resize(numbers);
    const auto data = octets(content.substr(begin));
    for (std::size_t i = 0; i < numbers; ++i) block.values[i] = numberAt(data, i, shape.width);
    return block;
}

}  // namespace zqm
