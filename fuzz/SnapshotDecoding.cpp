#include "ZQMHelper/Shared/MetricsJson.h"
#include "fuzz/Fuzzing.h"
#include "tests/fakes/FakePlatform.h"

// Any bytes to the strict decoder: refused with a reason, or a snapshot that stays the same from then on.

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace zqm;
    static const FakePlatform clockOfNewRecords;
    const auto decoded = decodeSnapshot(textOf(data, size));
    if (const auto* error = std::get_if<DecodeError>(&decoded)) {
        require(!error->message.empty(), "a refusal has a reason");
        return 0;
    }
    const auto encoded = encode(std::get<SystemSnapshot>(decoded));
    require(encoded.has_value(), "what was decoded can be encoded");
    const auto again = decodeSnapshot(*encoded);
    require(std::holds_alternative<SystemSnapshot>(again), "what was encoded can be decoded");
    require(encode(std::get<SystemSnapshot>(again)) == encoded, "the second encoding is the first");
    return 0;
}
